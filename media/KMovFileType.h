#pragma once

#include <cstdint>
#include <cstring>

#include "media/BoxFileScanner.h"
#include "media/BoxNotes.h"

/// QuickTime movies that begin with a file type atom. Source: QuickTime File Format Specification, "Atoms".
class KMovFileType final : public BoxFileScanner<KMovFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[17];
    static constexpr FormatNotes Notes{.source = AtomNotes.source,
                                       .found = "QuickTime movies of the brands qt and mqt.",
                                       .end = AtomNotes.end,
                                       .limits = AtomNotes.limits};
    static constexpr bool CountsLastBoxWhole = true;

    static bool IsBrand(const std::uint8_t* brand) {
        return std::memcmp(brand, "qt  ", 4) == 0 || std::memcmp(brand, "mqt ", 4) == 0;
    }
    static bool IsAccepted(std::uint32_t type) { return TopLevelBoxTypes.contains(type); }
};
