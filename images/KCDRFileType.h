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
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[38];
    static constexpr FormatNotes Notes{
        .source =
            "Microsoft and IBM, Multimedia Programming Interface and Data Specifications 1.0, \"Resource "
            "Interchange File Format\"; PKWARE, APPNOTE.TXT, sections 4.3.6 to 4.3.16",
        .found = "Drawings and templates of version 3 and later.",
        .end =
            "The length of the RIFF file, or the end-of-central-directory record of the package with its comment; "
            "exact.",
        .limits =
            "Versions 1 and 2 are not found, nor are the other files of the suite. A package is also found as a "
            "ZIP archive."};
    static constexpr AnySectorFilter Filter{SectorFilterOf(RiffSignature), ZipLocalFilter};
    static constexpr std::int64_t MinReportLength = 256;
    static constexpr std::int64_t WalkLimit = Identity.maxSize;

    static bool IsHeader(ByteSpan sector);
    static std::optional<std::int64_t> Walk(FileWindow& file);
};
