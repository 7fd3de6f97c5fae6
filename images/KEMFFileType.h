#pragma once

#include <cstdint>

#include "formats/PictureWalks.h"
#include "images/FormatScanner.h"

/// Enhanced metafiles: record by record to the end record. Sources: [MS-EMF]; [MS-EMFPLUS].
class KEMFFileType final : public FormatScanner<KEMFFileType, EmfDrawing> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Emf];
    static constexpr SectorFilter Filter = SectorFilterOf(PatternOf(" EMF"), 40);
    static constexpr std::int64_t MinReportLength = 256;
    /// Metafiles with photographs exceed the cap, but their end is known.
    static constexpr std::int64_t WalkLimit = 0x10000000;
};
