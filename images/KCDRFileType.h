#pragma once

#include <cstdint>
#include <optional>

#include "formats/Riff.h"
#include "formats/ZipRecords.h"
#include "frame/scan/WalkingScanner.h"

/// CorelDRAW drawings and templates: a RIFF file, or since version X4 a ZIP package. Sources: Microsoft and IBM,
/// Multimedia Programming Interface and Data Specifications 1.0, "Resource Interchange File Format"; PKWARE,
/// APPNOTE.TXT, sections 4.3.6 to 4.3.16.
class KCDRFileType final : public WalkingScanner<KCDRFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Cdr];
    static constexpr AnySectorFilter Filter{SectorFilterOf(RiffSignature), ZipLocalFilter};
    static constexpr std::int64_t MinReportLength = 256;
    static constexpr std::int64_t WalkLimit = Identity.maxSize;

    static bool IsHeader(ByteSpan sector);
    static std::optional<std::int64_t> Walk(FileWindow& file);
};
