#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "frame/memory/LastFile.h"
#include "frame/memory/Trail.h"
#include "frame/scan/RememberingScanner.h"

/// What is known of transport streams: those whose packets are equally far apart share their way where they meet.
class TransportTrails {
public:
    struct Facts {
        /// A packet of the program association table is among the packets.
        bool hasProgramTable = false;

        void Append(const Facts& behind) { hasProgramTable = hasProgramTable || behind.hasProgramTable; }
    };

    /// From one packet to the next, in bytes.
    static constexpr std::array<std::int32_t, 4> PacketSizes{188, 192, 204, 208};

    void Reset() {
        for (Trail<Facts>& trail : trails_) {
            trail.Reset();
        }
    }
    void EnterBlock(const SectorBlock& block) {
        for (Trail<Facts>& trail : trails_) {
            trail.EnterBlock(block);
        }
    }

    /// The stream whose first packet begins `prefix` bytes into the candidate, of packets of the size with this number.
    /// Its length counts the prefix.
    Trail<Facts>::Stretch Measure(const Candidate& candidate, std::int32_t prefix, std::size_t size);

private:
    std::array<Trail<Facts>, PacketSizes.size()> trails_;
};

/// MPEG transport streams of packets 188, 192, 204 or 208 bytes apart, with or without a time stamp in front of each:
/// packet by packet to the first place without a sync byte. Source: ISO/IEC 13818-1, section 2.4.3.
class KMtsFileType final : public RememberingScanner<KMtsFileType, TransportTrails> {
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
