#pragma once

#include <cstdint>

#include "frame/contract/FileTypeCatalog.h"

/// What a host must expect of the reports of certain types, by factory index.
namespace test {

/// The size may be 0: the host decides where the file ends.
inline bool MayReportNoSize(std::int32_t index) {
    using namespace FileTypeIndex;
    return index == Eml || index == Mrw || index == Orf || index == Tiff ||
           FileTypeCatalog[index].reportedSize == SizeExactness::StartOnly;
}

/// The size comes from the file unchecked: it may exceed the cap or be negative.
inline bool MayReportAnySize(std::int32_t index) {
    using namespace FileTypeIndex;
    return index == Tiff || index == Webp || index == Flv;
}

/// The size is the sum of the file's boxes, or 0 where an audio file's end is not found; no cap that a host sets
/// changes it.
inline bool MayExceedCap(std::int32_t index) { return index >= FileTypeIndex::Mov && index <= FileTypeIndex::Mp4; }

/// Engines and the range of the last file found outlive a scan, so the next one may give something else.
inline bool KeepsStateOverScans(std::int32_t index) {
    return FileTypeCatalog[index].maxSize == CapInEngine || FileTypeCatalog[index].family != FileTypeFamily::Alone ||
           index == FileTypeIndex::Eml;
}

/// Every run of letters is a text file, even one at the start of a file of another type.
inline constexpr std::int32_t PlainText = FileTypeIndex::Text;

/// True if the type may report this size under a cap, which is the catalogue's unless the host has set another one.
inline bool IsSaneSize(std::int32_t index, std::int64_t size, std::int64_t cap) {
    if (MayReportAnySize(index)) {
        return true;
    }
    if (MayExceedCap(index)) {
        return size > 0 || (size == 0 && index == FileTypeIndex::M4a);
    }
    if (FileTypeCatalog[index].reportedSize == SizeExactness::StartOnly) {
        return size == 0;
    }
    // Engines limit sizes in their own way.
    const bool isCapped = FileTypeCatalog[index].maxSize > 0 && !KeepsStateOverScans(index);
    const bool mayBeZero = cap == 0 || MayReportNoSize(index);
    return (size > 0 || (size == 0 && mayBeZero)) && (!isCapped || size <= cap);
}

}  // namespace test
