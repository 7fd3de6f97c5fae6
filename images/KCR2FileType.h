#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/WalkingScanner.h"

/// Canon camera raws built on TIFF: a chain of four directories, for the preview, the thumbnail, a small picture and
/// the raw picture. Source: Adobe, TIFF Revision 6.0; L. Clévy, Inside the Canon RAW format version 2.
class KCR2FileType final : public WalkingScanner<KCR2FileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Cr2];
    /// A mark after the TIFF header, with the major version.
    static constexpr std::size_t MarkOffset = 8;
    static constexpr auto Mark = PatternOf("CR\2");
    static constexpr SectorFilter Filter = SectorFilterOf(Mark, MarkOffset);
    static constexpr std::int64_t MinReportLength = 0x100000;
    static constexpr std::int64_t WalkLimit = Identity.maxSize;

    static bool IsHeader(ByteSpan sector);
    static std::optional<std::int64_t> Walk(FileWindow& file);
};
