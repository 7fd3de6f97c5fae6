#pragma once

#include <cstdint>
#include <optional>

#include "frame/memory/LastFile.h"
#include "frame/scan/RememberingScanner.h"
#include "media/PacketGrids.h"

/// MPEG transport streams of packets 188, 192, 204 or 208 bytes apart, with or without a time stamp in front of each:
/// packet by packet to the first place without a sync byte. Source: ISO/IEC 13818-1, section 2.4.3.
class KMtsFileType final : public RememberingScanner<KMtsFileType, PacketGrids> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Mts];
    static constexpr std::uint8_t SyncByte = 0x47;
    /// A packet, or one behind its time stamp of 4 bytes.
    static constexpr AnySectorFilter Filter{SectorFilterOf(Pattern<1>{SyncByte}),
                                            SectorFilterOf(Pattern<1>{SyncByte}, 4)};
    static constexpr std::int64_t MinReportLength = 18800;

    std::int32_t Reset() override;

    static bool IsHeader(ByteSpan sector);
    std::optional<std::int64_t> Measure(const Candidate& candidate);

private:
    LastFile lastFile_;
};
