#pragma once

#include <cstdint>

#include "frame/scan/FileTypeBase.h"
#include "frame/scan/SectorScan.h"

/// MPEG-4 audio of the brand M4A: the file type box and the three boxes after it.
/// Source: ISO/IEC 14496-12, section 4.2.
class KM4AFileType final : public FileTypeBase<KM4AFileType>, public RestAnswer<KM4AFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::M4a];

    KM4AFileType() { KM4AFileType::Reset(); }

    std::int32_t Reset() override {
        maxSize_ = Identity.maxSize;
        return 1;
    }
    void SetMaxFileSize(std::int64_t size) override { maxSize_ = size; }
    void ScanBlock(const SectorBlock* block, IFoundFileSink* sink) override;
    /// The last size is forgotten at a block's end.
    static bool RestsAt(std::int64_t /*nextSector*/) { return true; }

private:
    /// False if there is no file. If its end is not found, `found.size` stays as it was.
    bool Measure(const Candidate& candidate, std::uint32_t firstBoxSize, FoundFile& found) const;

    std::int64_t maxSize_ = 0;
};
