#include "containers/KZipFileSearcher.h"

#include <algorithm>
#include <optional>

#include "containers/ZipSectorClass.h"
#include "frame/read/TraceMessage.h"
#include "frame/scan/SectorScan.h"

namespace {

void TraceArchive(std::int64_t size) { TraceMessage("ZIP FILE: %d", static_cast<std::int32_t>(size)); }

}  // namespace

std::int32_t KZipFileSearcher::Reset() {
    SetScannedBlockKey(NoBlockYet);
    lengthenedAt_ = NoBlockYet;
    run_ = Closed;
    kind_ = ZipKind::Plain;
    ClearFound();
    return 1;
}

std::int32_t KZipFileSearcher::EndScan() {
    waiting_.clear();
    waitingGrowth_ = 0;
    return this->Reset();
}

std::int32_t KZipFileSearcher::HeaderWords(HeaderWord* words, std::int32_t capacity) {
    return HeaderWordsOf(ZipLocalFilter, words, capacity);
}

void KZipFileSearcher::ScanBlock(const SectorBlock* block, IFoundFileSink* /*sink*/) {
    ForEachSector(
        *block, ZipLocalFilter, [this] { return run_.inFile != 0; },
        [&](const Candidate& candidate) {
            if (OpensZipMember(candidate.sector)) {
                LeaveOpenArchive();
                OpenRun(run_, candidate.startSector);
            } else if (run_.inFile == 0) {
                return;
            }
            if (const std::optional<std::size_t> end = ClassifyZipSector(candidate.sector, kind_)) {
                CloseArchives(*end);
            } else {
                run_.runLength += block->sectorSize;
            }
        });
}

// Each member of the family asks for this.
void KZipFileSearcher::Lengthen(std::int64_t firstSector, std::int64_t count, std::int32_t sectorSize) {
    if (lengthenedAt_ != firstSector && run_.inFile != 0) {
        run_.runLength += count * sectorSize;
    }
    lengthenedAt_ = firstSector;
}

// The next archive inherits the kind of one that is reported or kept waiting.
void KZipFileSearcher::LeaveOpenArchive() {
    if (run_.inFile == 0 || run_.runLength < ZipMinReportLength) {
        kind_ = ZipKind::Plain;
    } else if (run_.runLength > run_.maxSize) {
        AddFound(run_.startSector, run_.maxSize, kind_);
    } else {
        waiting_.push_back({run_.startSector, waitingGrowth_});
        waitingGrowth_ += run_.runLength;
    }
}

void KZipFileSearcher::CloseArchives(std::size_t endOffset) {
    run_.runLength += static_cast<std::int64_t>(endOffset);
    const std::int64_t size = std::min(run_.runLength, run_.maxSize);
    if (run_.runLength >= ZipMinReportLength) {
        TraceArchive(size);
        AddFound(run_.startSector, size, kind_);
    }
    // An innermost archive too short to be reported still counts for those around it.
    for (const WaitingArchive& archive : waiting_) {
        const std::int64_t wholeSize = waitingGrowth_ - archive.growthBefore + size;
        TraceArchive(std::min(wholeSize, run_.maxSize));
        AddFound(archive.startSector, std::min(wholeSize, run_.maxSize), kind_);
    }
    waiting_.clear();
    waitingGrowth_ = 0;
    CloseRun(run_);
    kind_ = ZipKind::Plain;
}
