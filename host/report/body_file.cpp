#include <fmt/format.h>

#include "host/report/report_format.h"
#include "host/say/say.h"

namespace salvor {

namespace {

// The separator cannot be quoted, so it is replaced.
std::string Field(const std::string& text) {
    std::string field;
    for (const char letter : Printable(text)) {
        field += letter == '|' ? "\\x7c" : std::string(1, letter);
    }
    return field;
}

std::string NameOf(const ReportedFile& file) {
    const OriginalEntry& original = file.original;
    if (original.path.empty()) {
        return Field(file.path);
    }
    return fmt::format("{}{} ({})", Field(original.path), original.isDeleted ? " (deleted)" : "", Field(file.path));
}

}  // namespace

// MD5|name|inode|mode|UID|GID|size|atime|mtime|ctime|crtime, with 0 for unknown values. The first sector stands in for
// the inode.
void WriteBodyFile(ReportReader& reader, const TextSink& sink) {
    for (ReportedFile file; reader.Next(file);) {
        const OriginalEntry& original = file.original;
        sink(fmt::format("0|{}|{}|r/r---------|0|0|{}|{}|{}|{}|{}\n", NameOf(file), file.startSector, file.size,
                         original.accessed.value_or(0), original.modified.value_or(0), original.changed.value_or(0),
                         original.created.value_or(0)));
    }
}

}  // namespace salvor
