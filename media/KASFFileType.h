#pragma once

#include <cstdint>

#include "frame/scan/FamilyEngine.h"
#include "frame/scan/SectorScan.h"

/// ASF files, told apart by the streams that their header declares. The header also gives the file's length, so a file
/// is reported from its first sector. Source: Advanced Systems Format (ASF) Specification, sections 3.1 to 3.3.
class KASFFileType final : public ReleasedAs<KASFFileType, FamilyEngine> {
public:
    enum Kind : std::int32_t {
        /// Audio streams and no video.
        Audio = 1,
        Video,
        /// Neither audio nor video.
        Other,
    };

    KASFFileType() : ReleasedAs(FirstBlockKey) {}

    std::int32_t Reset() override;
    void GetTypeName(char* buffer, std::uint32_t capacity) override;
    void GetExtension(char* buffer, std::uint32_t capacity) override;
    void ScanBlock(const SectorBlock* block, IFoundFileSink* sink) override;
    void SetMaxFileSize(std::int64_t size) override { maxSize_ = size; }

    static bool RestsAt(std::int64_t /*nextSector*/) { return true; }
    static std::int32_t HeaderWords(HeaderWord* words, std::int32_t capacity);

    /// A virtual slot of its own, after those of the contract.
    virtual void ScanForKind(const SectorBlock* block, IFoundFileSink* sink, std::int32_t kind) {
        FamilyEngine::ScanForKind(block, sink, kind);
    }

private:
    static constexpr std::int64_t FirstBlockKey = 0;
    static constexpr std::int64_t DefaultMaxSize = 0x2000000000;

    /// Adds the file that begins at this sector to the finds.
    void Examine(const Candidate& candidate);

    std::int64_t maxSize_ = DefaultMaxSize;
};
