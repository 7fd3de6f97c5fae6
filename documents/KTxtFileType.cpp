#include "documents/KTxtFileType.h"

#include <cstring>

#include "frame/bytes/TextBytes.h"
#include "frame/scan/SectorScan.h"

namespace {

// Begins with a text byte and has no byte from 0x80 on in the first eight, which would end the run too early. Many
// sectors begin with a text byte by chance.
struct TextHead {
    static constexpr std::uint64_t HighBits = 0x8080808080808080;
    static_assert(sizeof(HighBits) <= KTxtFileType::MinReportLength);

    static constexpr std::size_t Reach() { return sizeof(HighBits); }
    static bool Matches(const std::uint8_t* sector) {
        std::uint64_t bytes = 0;
        std::memcpy(&bytes, sector, sizeof(bytes));
        return (bytes & HighBits) == 0 && IsTextByte(sector[0]);
    }
};

}  // namespace

void KTxtFileType::ScanBlock(const SectorBlock* block, IFoundFileSink* sink) {
    ForEachSector(
        *block, TextHead(), [this] { return run_.inFile != 0; },
        [&](const Candidate& candidate) {
            const ByteSpan sector = candidate.sector;
            if (!sector.empty() && IsTextByte(sector[0])) {
                if (run_.inFile == 0) {
                    OpenRun(run_, candidate.startSector);
                }
                const std::size_t count = CountTextBytes(sector);
                run_.runLength += static_cast<std::int64_t>(count);
                if (count == sector.size()) {
                    return;
                }
            } else if (run_.inFile == 0) {
                return;
            }
            ReportOpenRun(run_, MinReportLength, sink);
            CloseRun(run_);
        });
}
