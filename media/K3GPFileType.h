#pragma once

#include <cstdint>

#include "media/BoxFileScanner.h"
#include "media/TagLists.h"

/// Films of mobile phones. Source: 3GPP TS 26.244, section 5.
class K3GPFileType final : public BoxFileScanner<K3GPFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::ThreeGp];
    static constexpr bool CountsLastBoxWhole = false;

    static bool IsBrand(const std::uint8_t* brand) { return ContainsBrand(ThreeGpBrands, brand); }
    static bool IsAccepted(std::uint32_t type) { return IsMp4Box(type); }
};
