#include "containers/kZipOfficeSearcher.h"

#include <optional>

#include "frame/read/TraceMessage.h"
#include "frame/scan/SectorScan.h"

std::int32_t kZipOfficeSearcher::Reset() {
    SetScannedBlockKey(NoBlockYet);
    maxSize_ = ZipMaxSize;
    walk_.Reset();
    ClearFound();
    return 1;
}

std::int32_t kZipOfficeSearcher::HeaderWords(HeaderWord* words, std::int32_t capacity) {
    return HeaderWordsOf(ZipLocalFilter, words, capacity);
}

void kZipOfficeSearcher::ScanBlock(const SectorBlock* block, IFoundFileSink* /*sink*/) {
    walk_.EnterBlock(*block);
    ForEachSector(*block, ZipLocalFilter, [&](const Candidate& candidate) {
        if (!OpensZipMember(candidate.sector)) {
            return;
        }
        const std::optional<ZipWalk::Archive> archive = walk_.Measure(candidate);
        if (archive && archive->kind != ZipKind::Plain && archive->size >= ZipMinReportLength) {
            TraceMessage("ZIP FILE: %d", static_cast<std::int32_t>(archive->size));
            AddFound(candidate.startSector, archive->size, archive->kind);
        }
    });
}
