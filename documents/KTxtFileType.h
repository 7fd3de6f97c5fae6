#pragma once

#include "frame/scan/FileTypeBase.h"

/// Runs of 7-bit text that begin at a sector start. Nothing else marks a text file, so every run counts. Source: ANSI
/// X3.4 (US-ASCII).
class KTxtFileType final : public RunStateFileType<KTxtFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Text];
    static constexpr std::int64_t MinReportLength = 256;

    void ScanBlock(const SectorBlock* block, IFoundFileSink* sink) override;
    bool RestsAt(std::int64_t /*nextSector*/) const { return run_.inFile == 0; }
};
