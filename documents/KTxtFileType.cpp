#include "documents/KTxtFileType.h"

#include "frame/SectorScan.h"
#include "frame/TextBytes.h"

void KTxtFileType::ScanBlock(const SectorBlock* block, IFoundFileSink* sink) {
    ForEachSector(*block, [&](const Candidate& candidate) {
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
