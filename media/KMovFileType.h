#pragma once

#include <cstdint>
#include <cstring>

#include "media/BoxFileScanner.h"
#include "media/TagLists.h"

/// QuickTime movies that begin with a file type atom. Source: QuickTime File Format Specification, "Atoms".
class KMovFileType final : public BoxFileScanner<KMovFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Mov];
    static constexpr bool CountsLastBoxWhole = true;

    static bool IsBrand(const std::uint8_t* brand) {
        return std::memcmp(brand, "qt  ", 4) == 0 || std::memcmp(brand, "mqt ", 4) == 0;
    }
    static bool IsAccepted(std::uint32_t type) { return TopLevelBoxTypes.contains(type); }
};
