#pragma once

#include <cstdint>
#include <optional>

#include "frame/memory/Gap.h"
#include "frame/memory/ScanOffsets.h"
#include "frame/scan/FileTypeBase.h"
#include "frame/scan/SectorScan.h"

/// Flash video whose first tag holds script data with the file's size. Source: Adobe Flash Video
/// File Format Specification 10.1, annex E.
class KFlvFileType final : public RunStateFileType<KFlvFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Flv];

    std::int32_t Reset() override;
    void ScanBlock(const SectorBlock* block, IFoundFileSink* sink) override;
    /// No file stays open, and the gap only saves reading.
    static bool RestsAt(std::int64_t /*nextSector*/) { return true; }
    static std::int32_t HeaderWords(HeaderWord* words, std::int32_t capacity);

private:
    std::optional<std::int64_t> DeclaredSize(const Candidate& candidate);

    ScanOffsets offsets_;
    Gap keyGap_;
};
