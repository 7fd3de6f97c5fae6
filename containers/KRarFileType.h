#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "frame/bytes/BytePattern.h"
#include "frame/scan/RunScanner.h"

/// RAR archives of versions 1.5 to 4, from the marker block and the usual main header to the end-of-archive block. An
/// archive without that block runs to the next one. Source: TechNote.txt of RAR 4, "Archive format".
class KRarFileType final : public RunScanner<KRarFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Rar];
    /// The marker block, and the low byte of the main header's CRC.
    static constexpr auto Signature = PatternOf("Rar!\x1A\x07\0\xCF");
    /// The end-of-archive block: CRC 3DC4, type 7B, flags 4000, size 7.
    static constexpr BytePattern Footer = BytePatternOf<"\xC4\x3D\x7B\0\x40\x07\0">();
    static constexpr std::size_t MinSectorBytes = Signature.size() + 1;
    static constexpr std::int64_t MinReportLength = 256;

    static std::optional<std::size_t> FindEnd(ByteSpan sector) { return Footer.FindEndInSector(sector); }
};
