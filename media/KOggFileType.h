#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/RememberingScanner.h"
#include "media/ChunkWalk.h"

/// Ogg streams: pages behind one another. Source: RFC 3533, section 6.
class KOggFileType final : public RememberingScanner<KOggFileType, ChunkWalk> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[95];
    static constexpr FormatNotes Notes{
        .source = "RFC 3533, section 6",
        .found = "Ogg files whatever they carry: Vorbis, Opus, FLAC, Theora.",
        .end = "Behind the last page in a row, 20,000 at most; exact up to 10 MiB, where a file is cut.",
        .limits = "A file that follows without a gap is counted in. A page with a damaged signature ends the file."};
    static constexpr auto Signature = PatternOf("OggS");
    static constexpr std::size_t MinSectorBytes = 81;
    static constexpr std::int64_t MinReportLength = 512;

    static bool IsHeader(ByteSpan sector);
    std::optional<std::int64_t> Measure(const Candidate& candidate);
};
