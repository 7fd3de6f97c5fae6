#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/RememberingScanner.h"
#include "media/ChunkWalk.h"

/// Ogg streams: pages one after another. Source: RFC 3533, section 6.
class KOggFileType final : public RememberingScanner<KOggFileType, ChunkWalk> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Ogg];
    static constexpr auto Signature = PatternOf("OggS");
    static constexpr std::size_t MinSectorBytes = 81;
    static constexpr std::int64_t MinReportLength = 512;

    static bool IsHeader(ByteSpan sector);
    std::optional<std::int64_t> Measure(const Candidate& candidate);
};
