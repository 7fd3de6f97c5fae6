#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/WalkingScanner.h"

/// PCX pictures. Nothing marks their end, so the run length code is decoded until the picture is complete; the header's
/// small numbers are believed only if that comes out. The few pictures that are not in that code must have a header
/// without rubbish. Source: ZSoft, PCX File Format Technical Reference Manual.
class KPCXFileType final : public WalkingScanner<KPCXFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[40];
    static constexpr FormatNotes Notes{
        .source = "ZSoft, PCX File Format Technical Reference Manual",
        .found = "PCX pictures of versions 0 to 5 with 1 to 4 planes of 1 to 8 bits, with or without a palette.",
        .end = "Where the decoded picture is complete, and behind the palette if one follows; exact.",
        .limits =
            "A run that a writer adds behind the last line is left out. Pictures without the run length code are found "
            "where the header is otherwise that of version 5."};
    /// The signature byte, the version, encoding 1 or none, the bits of a pixel.
    static constexpr SectorFilter Filter{PatternOf("\x0A\0\0\0"), PatternOf("\xFF\0\xFE\0"), 0};
    static constexpr std::int64_t MinReportLength = 256;
    static constexpr std::int64_t WalkLimit = Identity.maxSize;

    static bool IsHeader(ByteSpan sector);
    static std::optional<std::int64_t> Walk(FileWindow& file);
};
