#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/WalkingScanner.h"

/// Enhanced metafiles: record by record to the end record. Sources: [MS-EMF]; [MS-EMFPLUS].
class KEMFFileType final : public WalkingScanner<KEMFFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Emf];
    static constexpr SectorFilter Filter = SectorFilterOf(PatternOf(" EMF"), 40);
    static constexpr std::int64_t MinReportLength = 256;
    /// Metafiles with photographs are larger than the cap; their end is known all the same.
    static constexpr std::int64_t WalkLimit = 0x10000000;

    static bool IsHeader(ByteSpan sector);
    static std::optional<std::int64_t> Walk(FileWindow& file);
};
