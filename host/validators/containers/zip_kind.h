#pragma once

#include <cstdint>
#include <string_view>

namespace salvor {

/// The kind of an archive, according to its content.
struct PackageKind {
    /// Factory index.
    std::int32_t type = 0;
    /// Empty if the type's own extension is right.
    const char* extension = "";
};

/// Collects the names that show an archive's kind while its directory is walked.
class ZipNames {
public:
    /// Takes the next name of the directory; `index` is the number of its entry.
    void Take(std::string_view name, std::int64_t index);

    /// The archive has the mark of Java's own archiver.
    void NoteJava() { isJava_ = true; }

    /// The entry whose text the kind depends on, for `KindOf`; -1 if there is none.
    std::int64_t DecidingEntry() const { return mimeType_ >= 0 ? mimeType_ : contentTypes_; }

    /// `text` is the beginning of the deciding entry's content; empty where it cannot be read.
    PackageKind Kind(std::string_view text) const;

private:
    PackageKind OfficeKind(std::string_view contentTypes) const;
    PackageKind PlainKind() const;

    std::int64_t mimeType_ = -1;
    std::int64_t contentTypes_ = -1;
    // One bit for each name of the table that occurred.
    std::uint64_t seen_ = 0;
    // What members there are, apart from folders.
    bool hasOthers_ = false;
    bool hasArrays_ = false;
    bool hasClasses_ = false;
    bool isJava_ = false;
};

}  // namespace salvor
