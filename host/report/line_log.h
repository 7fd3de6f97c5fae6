#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "host/platform/file_place.h"

namespace salvor {

/// A file of lines that is only ever appended to, so that what is there after a crash is good. What it was told reaches
/// the file with `Flush`, and stable storage with `Sync`. Throws `Failure` when the file cannot be made or written.
class LineLog {
public:
    /// Makes a new file in place of one that is there. `what` names it to the person: "finds file".
    LineLog(const FilePlace& place, std::string what);
    /// Makes it as a draft with a name that ends with `draftSuffix`; one that is there stays until `TakeName`.
    LineLog(const FilePlace& place, std::string what, const std::string& draftSuffix);

    /// Whole lines.
    void Add(const std::string& lines);
    void Flush();
    void Sync();
    /// Replaces the earlier file, now that the draft holds everything it did. More lines may follow.
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

/// The last line of a file, without its line break; empty if it was cut or is longer than a MiB.
std::string LastLineOf(File& file);

/// Reads a file of lines that others may have written.
class LineReader {
public:
    /// The file outlives this and is read from where it stands.
    explicit LineReader(File& file) : file_(file) {}

    /// Reads a line without its line break. One that is longer than any record is skipped and given as empty text.
    /// False at the end of the file.
    bool Next(std::string& line);

    /// Where the line behind the last one begins, in bytes from where reading began.
    std::int64_t Offset() const { return filled_ - static_cast<std::int64_t>(end_ - next_); }

    /// The line that was read last had no line break: it was cut.
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
