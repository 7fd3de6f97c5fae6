#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "frame/bytes/BytePattern.h"
#include "frame/scan/RunScanner.h"

/// Files that begin with a fixed header at a sector start and end with a fixed footer, or have a fixed size. The
/// registry has one instance for each format, with its own patterns and names.
class KHeadTailFileTemplate final : public RunScanner<KHeadTailFileTemplate> {
public:
    // Each instance has its own names.
    static constexpr FileTypeIdentity Identity{
        .name = nullptr, .extension = nullptr, .maxSize = HeadTailCap, .smallestSize = 0, .largestSize = 0};
    static constexpr std::int64_t MinReportLength = 512;

    /// All pointers are to static data, which is not copied; lengths and `fixedSize` are in bytes. With a null `tail`
    /// every file has `fixedSize`, which is otherwise 0.
    KHeadTailFileTemplate(const char* typeName, const char* extension, const std::uint8_t* head,
                          std::uint32_t headLength, const std::uint8_t* tail, std::uint32_t tailLength,
                          std::int32_t fixedSize);

    void GetTypeName(char* buffer, std::uint32_t capacity) override;
    void GetExtension(char* buffer, std::uint32_t capacity) override;
    void ScanBlock(const SectorBlock* block, IFoundFileSink* sink) override;

    SectorFilter Filter() const { return SectorFilterOf(head_); }
    bool IsHeader(ByteSpan sector) const;
    std::optional<std::size_t> FindEnd(ByteSpan sector) const { return tail_.FindEndInSector(sector); }

private:
    void ScanForFixedSize(const SectorBlock& block, IFoundFileSink* sink);

    ByteSpan head_;
    bool hasTail_;
    BytePattern tail_;
    std::int32_t fixedSize_;
    const char* typeName_;
    const char* extension_;
};
