#pragma once

#include <cstdint>
#include <optional>

#include "frame/memory/LastFile.h"
#include "frame/scan/RememberingScanner.h"
#include "media/ChunkWalk.h"

/// RealMedia files: the first chunk declares how many there are. Source: RealMedia File Format, the file header and
/// chunk headers.
class KRmFileType final : public RememberingScanner<KRmFileType, ChunkWalk> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Rm];
    static constexpr auto Signature = PatternOf(".RMF\0\0\0\x12");
    static constexpr std::size_t MinSectorBytes = 512;
    static constexpr std::int64_t MinReportLength = 256;

    std::int32_t Reset() override;
    bool RestsAt(std::int64_t nextSector) const {
        return lastFile_.EndsBy(nextSector) && RememberingScanner::RestsAt(nextSector);
    }

    std::optional<std::int64_t> Measure(const Candidate& candidate);

private:
    LastFile lastFile_;
};
