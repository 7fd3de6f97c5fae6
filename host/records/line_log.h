#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "host/platform/file_place.h"

namespace salvor {

/// A file of lines that is only ever appended to, so that what is in it after a crash is valid. Lines reach the file
/// with `Flush`, and stable storage with `Sync`. Throws `Failure` if the file cannot be created or written.
class LineLog {
public:
    /// Creates a new file, replacing an existing one. `what` is its name in messages: "finds file".
    LineLog(const FilePlace& place, std::string what);
    /// Creates a draft with a name that ends with `draftSuffix`; an existing file stays until `TakeName`.
    LineLog(const FilePlace& place, std::string what, const std::string& draftSuffix);

    /// Appends whole lines.
    void Add(const std::string& lines);
    void Flush();
    void Sync();
    /// Replaces the earlier file, once the draft holds everything that it did. More lines may follow.
    void TakeName();

private:
    void Require(bool done, const char* verb, const SystemError& error) const;

    FilePlace place_;
    FilePlace draft_;
    std::string name_;
    std::string what_;
    File file_;
    std::string pending_;
};

/// The last line of a file, without its line break; empty if it is incomplete or longer than a MiB.
std::string LastLineOf(File& file);

/// Reads a file of lines that may come from anywhere.
class LineReader {
public:
    /// The file outlives this and is read from its current position on.
    explicit LineReader(File& file) : file_(file) {}

    /// Reads a line without its line break. A line that is longer than any record is skipped and returned as empty
    /// text. False at the end of the file.
    bool Next(std::string& line);

    /// The offset of the line after the last one, in bytes from where reading began.
    std::int64_t Offset() const { return filled_ - static_cast<std::int64_t>(end_ - next_); }

    /// True if the last line had no line break, so that it is incomplete.
    bool WasCut() const { return wasCut_; }

private:
    bool Fill();

    File& file_;
    std::array<char, std::size_t{1} << 15U> buffer_{};
    std::size_t next_ = 0;
    std::size_t end_ = 0;
    std::int64_t filled_ = 0;
    bool wasCut_ = false;
};

}  // namespace salvor
