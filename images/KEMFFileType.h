#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/WalkingScanner.h"

/// Enhanced metafiles: record by record to the end record. Sources: [MS-EMF]; [MS-EMFPLUS].
class KEMFFileType final : public WalkingScanner<KEMFFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[45];
    static constexpr FormatNotes Notes{
        .source = "[MS-EMF], Enhanced Metafile Format; [MS-EMFPLUS]",
        .found = "Enhanced metafiles, also with EMF+ records or OpenGL commands.",
        .end = "The end record; exact. Where a record in the second half is damaged, the size in the header.",
        .limits = "Metafiles in print spool files and compressed ones are not found."};
    static constexpr SectorFilter Filter = SectorFilterOf(PatternOf(" EMF"), 40);
    static constexpr std::int64_t MinReportLength = 256;
    /// Metafiles with photographs are larger than the cap; their end is known all the same.
    static constexpr std::int64_t WalkLimit = 0x10000000;

    static bool IsHeader(ByteSpan sector);
    static std::optional<std::int64_t> Walk(FileWindow& file);
};
