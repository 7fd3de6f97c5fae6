#pragma once

#include <cstdint>

#include "documents/MailEnd.h"
#include "frame/scan/FileTypeBase.h"

/// Single mail messages, which begin with the line of the last server that handed them on. Sources: RFC 5322, section
/// 3.6.7; RFC 2046, section 5.1.1.
class KEMLFileType final : public RunStateFileType<KEMLFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[34];
    static constexpr FormatNotes Notes{
        .source = "RFC 5322, section 3.6.7; RFC 2046, section 5.1.1",
        .found =
            "Messages with a \"Received:\" line at the start of a sector or of a line in its first bytes, and with a "
            "content header.",
        .end = "The closing boundary of a message of several parts; \"</html>\" for one that is a single text.",
        .limits =
            "A message of plain text runs to the next \"</html>\". A message whose closing marker stands near its "
            "content header ends in front of the marker."};

    /// The last message reported outlives the scan.
    std::int32_t Reset() override;
    void ScanBlock(const SectorBlock* block, IFoundFileSink* sink) override;

private:
    static bool IsHeader(ByteSpan sector);
    bool LiesInLast(std::int64_t startSector, std::int64_t size, std::int32_t sectorSize) const;

    // The last message reported: its sector and its length in bytes.
    std::int64_t lastStart_ = 0;
    std::int64_t lastSize_ = 0;
    MailEndSearch ends_;
};
