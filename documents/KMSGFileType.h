#pragma once

#include <cstdint>
#include <optional>

#include "frame/memory/Gap.h"
#include "frame/memory/ScanOffsets.h"
#include "frame/read/Budget.h"
#include "frame/scan/FileTypeBase.h"
#include "frame/scan/SectorScan.h"

/// Outlook messages: compound files whose directory stands in front of their allocation table. The streams are not
/// looked at, so other compound files of that order count too. Source: [MS-CFB], sections 2.2, 2.3 and 2.6.1.
class KMSGFileType final : public RunStateFileType<KMSGFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Msg];

    KMSGFileType();
    /// The cap stays as it is.
    std::int32_t Reset() override;
    void ScanBlock(const SectorBlock* block, IFoundFileSink* sink) override;

private:
    void Close();
    void Continue(const Candidate& candidate);
    std::optional<std::int64_t> TableLength(const Candidate& candidate);
    std::optional<std::int64_t> OwnEntriesBytes(const Candidate& candidate, std::int64_t offset);

    bool rootSeen_ = false;
    bool isDone_ = false;
    // Of free entries. The places of the entries searched leave a remainder of `phase_` by their length.
    ScanOffsets offsets_;
    Gap gap_;
    std::int64_t phase_ = 0;
    Budget budget_;
};
