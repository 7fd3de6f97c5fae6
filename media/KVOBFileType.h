#pragma once

#include <cstdint>
#include <optional>

#include "formats/ProgramStream.h"
#include "frame/memory/LastFile.h"
#include "frame/memory/Trail.h"
#include "frame/scan/RememberingScanner.h"

/// Counts the packets of a stream, up to as many as a file needs.
struct PacketCount {
    std::int64_t packets = 0;

    void Append(const PacketCount& behind);
};

/// MPEG-2 program streams, as on DVDs: from a pack header over packets and further pack headers to the first place
/// where neither begins. Source: ISO/IEC 13818-1, section 2.5.3.
class KVOBFileType final : public RememberingScanner<KVOBFileType, Trail<PacketCount>> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Vob];
    static constexpr auto Signature = ProgramStream::PackSignature;
    static constexpr std::int64_t MinReportLength = 1024;

    std::optional<std::int64_t> Measure(const Candidate& candidate);
    bool RestsAt(std::int64_t nextSector) const {
        return lastFile_.EndsBy(nextSector) && RememberingScanner::RestsAt(nextSector);
    }

private:
    // Shared by all scanners of this type and kept between scans: packs inside the last reported file do not begin
    // files of their own.
    static inline LastFile lastFile_;
};
