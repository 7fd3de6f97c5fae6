#pragma once

#include <cstdint>
#include <cstring>

#include "media/BoxFileScanner.h"
#include "media/TagLists.h"

/// MPEG-4 videos: every file with a file type box that no other type owns. Source: ISO/IEC 14496-12, section 4.3.
class KMP4FileType final : public BoxFileScanner<KMP4FileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Mp4];
    static constexpr bool CountsLastBoxWhole = false;

    static bool IsBrand(const std::uint8_t* brand) {
        return !ContainsBrand(ThreeGpBrands, brand) && !ContainsBrand(M4aBrands, brand) &&
               !ContainsBrand(M4vBrands, brand) && !ContainsBrand(QuickTimeBrands, brand) &&
               std::memcmp(brand, "crx ", 4) != 0;
    }
    static bool IsAccepted(std::uint32_t type) { return IsMp4Box(type); }
};
