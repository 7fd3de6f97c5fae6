#include "frame/scan/FamilyEngine.h"

void FamilyEngine::ScanForKind(const SectorBlock* block, IFoundFileSink* sink, std::int32_t kind) {
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
