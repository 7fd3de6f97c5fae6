#include "frame/scan/KHeadTailFileTemplate.h"

#include <cstring>

KHeadTailFileTemplate::KHeadTailFileTemplate(const char* typeName, const char* extension, const std::uint8_t* head,
                                             std::uint32_t headLength, const std::uint8_t* tail,
                                             std::uint32_t tailLength, std::int32_t fixedSize)
    : head_(head, headLength),
      hasTail_(tail != nullptr),
      tail_(hasTail_ ? ByteSpan(tail, tailLength) : ByteSpan()),
      fixedSize_(fixedSize),
      typeName_(typeName),
      extension_(extension) {}

void KHeadTailFileTemplate::GetTypeName(char* buffer, std::uint32_t capacity) {
    CopyBoundedText(buffer, capacity, typeName_);
}

void KHeadTailFileTemplate::GetExtension(char* buffer, std::uint32_t capacity) {
    CopyBoundedText(buffer, capacity, extension_);
}

void KHeadTailFileTemplate::ScanBlock(const SectorBlock* block, IFoundFileSink* sink) {
    if (hasTail_) {
        RunScanner::ScanBlock(block, sink);
    } else {
        ScanForFixedSize(*block, sink);
    }
}

bool KHeadTailFileTemplate::IsHeader(ByteSpan sector) const {
    if (sector.empty() || sector.size() < head_.size()) {
        return false;
    }
    return head_.empty() || std::memcmp(sector.data(), head_.data(), head_.size()) == 0;
}

// Every header is a file of the fixed size, reported at once unless it is below the shortest length. With a fixed size
// of 0 the file is only marked as open.
void KHeadTailFileTemplate::ScanForFixedSize(const SectorBlock& block, IFoundFileSink* sink) {
    ForEachSector(block, Filter(), [&](const Candidate& candidate) {
        if (!IsHeader(candidate.sector)) {
            return;
        }
        OpenRun(run_, candidate.startSector);
        if (fixedSize_ >= MinReportLength) {
            ReportCapped(sink, candidate.startSector, fixedSize_, run_.maxSize);
        }
        if (fixedSize_ != 0) {
            CloseRun(run_);
        }
    });
}
