#pragma once

#include <cstdint>
#include <string>

namespace salvor {

/// What a file says of itself, where it is known.
struct FileDetails {
    /// When it was taken or made, in the clock of its maker: "2021-05-04T12:33:10"; empty where nothing is known.
    std::string taken;
    /// Pixels; 0 where they are not known.
    std::int64_t width = 0;
    std::int64_t height = 0;
    std::string title;
    std::string camera;
    /// The path, below the folder, of a small picture that was taken out of it; empty for most.
    std::string preview;

    bool operator==(const FileDetails&) const = default;
};

}  // namespace salvor
