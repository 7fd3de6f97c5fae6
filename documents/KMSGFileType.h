#pragma once

#include <cstdint>
#include <optional>

#include "documents/FreeEntrySearch.h"
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

    bool rootSeen_ = false;
    bool isDone_ = false;
    FreeEntrySearch freeEntries_;
};
