#pragma once

#include <array>
#include <cstddef>
#include <string>

#include "host/platform/file_place.h"

namespace salvor {

/// A file of lines that is only ever appended to, so that what is there after a crash is good. What it was told reaches
/// the file with `Flush`, and stable storage with `Sync`. Throws `Failure` when the file cannot be made or written.
class LineLog {
public:
    /// Makes a new file in place of one that is there. `what` names it to the person: "finds file".
    LineLog(const FilePlace& place, std::string what);

    /// Whole lines.
    void Add(const std::string& lines);
    void Flush();
    void Sync();

private:
    std::string name_;
    std::string what_;
    File file_;
    std::string pending_;
};

/// Reads a file of lines that others may have written.
class LineReader {
public:
    /// The file outlives this and is read from where it stands.
    explicit LineReader(File& file) : file_(file) {}

    /// Reads a line without its line break. One that is longer than any record is skipped and given as empty text.
    /// False at the end of the file.
    bool Next(std::string& line);

    /// The line that was read last had no line break: it was cut.
    bool WasCut() const { return wasCut_; }

private:
    bool Fill();

    File& file_;
    std::array<char, std::size_t{1} << 15U> buffer_{};
    std::size_t next_ = 0;
    std::size_t end_ = 0;
    bool wasCut_ = false;
};

}  // namespace salvor
