#pragma once

#include <cstdint>

#include "documents/MailEnd.h"
#include "frame/scan/FileTypeBase.h"

/// Single mail messages, which begin with the line of the last server that relayed them. Sources: RFC 5322, section
/// 3.6.7; RFC 2046, section 5.1.1.
class KEMLFileType final : public RunStateFileType<KEMLFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Eml];

    /// The last reported message is kept.
    std::int32_t Reset() override;
    void ScanBlock(const SectorBlock* block, IFoundFileSink* sink) override;
    bool RestsAt(std::int64_t nextSector) const;

private:
    static bool IsHeader(ByteSpan sector);
    bool LiesInLast(std::int64_t startSector, std::int64_t size, std::int32_t sectorSize) const;

    // The last reported message: its start sector, and its length in bytes.
    std::int64_t lastStart_ = 0;
    std::int64_t lastSize_ = 0;
    MailEndSearch ends_;
};
