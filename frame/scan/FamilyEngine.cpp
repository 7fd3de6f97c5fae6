#include "frame/scan/FamilyEngine.h"

void FamilyEngine::ScanForKind(const SectorBlock* block, IFoundFileSink* sink, std::int32_t kind) {
    // An empty block does not count: the previous one stays the block scanned last.
    if (block->sectorCount < 1) {
        return;
    }
    if (scannedBlockKey_ != block->firstSector) {
        found_.clear();
        this->ScanBlock(block, sink);
        scannedBlockKey_ = block->firstSector;
    }
    for (const FoundEntry& entry : found_) {
        if (entry.kind == kind) {
            sink->ReportFound(&entry);
        }
    }
}
