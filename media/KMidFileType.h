#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/RememberingScanner.h"
#include "media/ChunkWalk.h"

/// Standard MIDI files: a header chunk, then as many track chunks as it says. Source: RP-001, Standard MIDI Files 1.0.
class KMidFileType final : public RememberingScanner<KMidFileType, ChunkWalk> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Mid];
    /// The header chunk always has 6 bytes.
    static constexpr auto Signature = PatternOf("MThd\0\0\0\x06");
    static constexpr std::size_t MinSectorBytes = 9;
    static constexpr std::int64_t MinReportLength = 512;

    std::optional<std::int64_t> Measure(const Candidate& candidate);
};
