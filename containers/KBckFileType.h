#pragma once

#include "frame/scan/FileTypeBase.h"
#include "frame/scan/SectorScan.h"

/// Backup catalogues: a counted text, 8 bytes, and a second counted text that ends with ".dat". Only the start is
/// known, so the reported size is 0. The factory does not offer this type.
class KBckFileType final : public RunStateFileType<KBckFileType> {
public:
    static constexpr FileTypeIdentity Identity{.name = "BCK Backup File",
                                               .extension = "bck",
                                               .maxSize = NoCap,
                                               .smallestSize = 0x2800,
                                               .largestSize = 0xA00000};

    void ScanBlock(const SectorBlock* block, IFoundFileSink* sink) override;

    static bool RestsAt(std::int64_t /*nextSector*/) { return true; }

    static bool IsHeader(const Candidate& candidate);
};
