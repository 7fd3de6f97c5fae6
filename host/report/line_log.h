#pragma once

#include <istream>
#include <string>

#include "host/platform/file_descriptor.h"

namespace salvor {

/// A file of lines that is only ever appended to, so that what is there after a crash is good. What it was told reaches
/// the file with `Flush`, and stable storage with `Sync`. Throws `Failure` when the file cannot be made or written.
class LineLog {
public:
    /// Creates the file, or empties an existing one. `what` names it to the person: "finds file".
    LineLog(const std::string& path, std::string what);

    /// Whole lines.
    void Add(const std::string& lines);
    void Flush();
    void Sync();

private:
    std::string path_;
    std::string what_;
    FileDescriptor fd_;
    std::string pending_;
};

/// Reads a line without its line break. One that is longer than any record is skipped and given as empty text. False at
/// the end of the file; a last line without a line break, which was cut, leaves the file at its end.
bool ReadLine(std::istream& file, std::string& line);

}  // namespace salvor
