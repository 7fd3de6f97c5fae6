#include "documents/KTxtFileType.h"

#include "frame/SectorScan.h"
#include "frame/TextBytes.h"

namespace {

// A byte from 0x80 on among the first eight, which would end a run too short to be reported. In one step, since sectors
// that begin with a text byte by chance are many.
bool IsNoTextAtOnce(ByteSpan sector) {
    constexpr std::uint64_t highBits = 0x8080808080808080;
    static_assert(sizeof(highBits) <= KTxtFileType::MinReportLength);
    return sector.size() >= sizeof(highBits) && (LoadLittle<std::uint64_t>(sector, 0) & highBits) != 0;
}

}  // namespace

void KTxtFileType::ScanBlock(const SectorBlock* block, IFoundFileSink* sink) {
    ForEachSector(*block, [&](const Candidate& candidate) {
        const ByteSpan sector = candidate.sector;
        if (run_.inFile == 0 && IsNoTextAtOnce(sector)) {
            return;
        }
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
