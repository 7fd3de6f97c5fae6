#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/WalkingScanner.h"

/// PCX pictures. Nothing marks their end, so the run length code is decoded until the picture is complete; the header's
/// small numbers are believed only if that comes out. The few pictures that are not in that code must have a header
/// without rubbish. Source: ZSoft, PCX File Format Technical Reference Manual.
class KPCXFileType final : public WalkingScanner<KPCXFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Pcx];
    /// The signature byte, the version, encoding 1 or none, the bits of a pixel.
    static constexpr SectorFilter Filter{PatternOf("\x0A\0\0\0"), PatternOf("\xFF\0\xFE\0"), 0};
    static constexpr std::int64_t MinReportLength = 256;
    static constexpr std::int64_t WalkLimit = Identity.maxSize;

    static bool IsHeader(ByteSpan sector);
    static std::optional<std::int64_t> Walk(FileWindow& file);
};
