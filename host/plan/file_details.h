#pragma once

#include <cstdint>
#include <string>

namespace salvor {

/// What is known from a file's own metadata.
struct FileDetails {
    /// When it was taken or made, by its maker's clock: "2021-05-04T12:33:10"; empty if unknown.
    std::string taken;
    /// In pixels; 0 if unknown.
    std::int64_t width = 0;
    std::int64_t height = 0;
    std::string title;
    std::string camera;
    /// The path, in the output folder, of a small picture that was taken out of the file; empty for most files.
    std::string preview;

    bool operator==(const FileDetails&) const = default;
};

}  // namespace salvor
