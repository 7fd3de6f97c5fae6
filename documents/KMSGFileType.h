#pragma once

#include <cstdint>
#include <optional>

#include "frame/memory/Gap.h"
#include "frame/memory/ScanOffsets.h"
#include "frame/read/Budget.h"
#include "frame/scan/FileTypeBase.h"
#include "frame/scan/SectorScan.h"

/// Outlook messages: compound files whose directory comes before their allocation table. The streams are ignored, so
/// other compound files in that order count too. Source: [MS-CFB], sections 2.2, 2.3 and 2.6.1.
class KMSGFileType final : public RunStateFileType<KMSGFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Msg];

    KMSGFileType();
    /// Keeps the cap.
    std::int32_t Reset() override;
    void ScanBlock(const SectorBlock* block, IFoundFileSink* sink) override;
    bool RestsAt(std::int64_t /*nextSector*/) const { return run_.inFile == 0 && budget_.IsAtRest(); }

private:
    void Close();
    void Continue(const Candidate& candidate);
    std::optional<std::int64_t> TableLength(const Candidate& candidate);
    std::optional<std::int64_t> OwnEntriesBytes(const Candidate& candidate, std::int64_t offset);

    bool rootSeen_ = false;
    bool isDone_ = false;
    // Where no free entry is. Only for entries at places with the remainder `phase_` when divided by their length.
    ScanOffsets offsets_;
    Gap gap_;
    std::int64_t phase_ = 0;
    Budget budget_;
};
