#pragma once

#include <cstdint>
#include <cstring>

#include "media/BoxFileScanner.h"
#include "media/TagLists.h"

/// MPEG-4 videos of the brand M4V, whose atoms are those of a QuickTime movie. Source: QuickTime File Format
/// Specification, "Atoms".
class KM4VFileType final : public BoxFileScanner<KM4VFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::M4v];
    static constexpr bool CountsLastBoxWhole = true;

    static bool IsBrand(const std::uint8_t* brand) { return std::memcmp(brand, "M4V ", 4) == 0; }
    static bool IsAccepted(std::uint32_t type) { return TopLevelBoxTypes.contains(type); }
};
