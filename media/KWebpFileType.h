#pragma once

#include <cstdint>

#include "media/RiffScanner.h"

/// WebP pictures. Source: WebP Container Specification, "WebP File Header".
class KWebpFileType final : public RunStateFileType<KWebpFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Webp];

    static constexpr auto Signature = RiffSignature;
    static constexpr std::size_t MinSectorBytes = 512;

    void ScanBlock(const SectorBlock* block, IFoundFileSink* sink) override {
        ForEachSector(*block, FilterOf(*this), [&](const Candidate& candidate) {
            if (!BeginsFile(*this, candidate.sector)) {
                return;
            }
            // The sum wraps at 32 bits. The smallest size is tested unsigned, the reported size is signed.
            const std::uint32_t size =
                LoadLittle<std::uint32_t>(candidate.sector, RiffSizeOffset) + std::uint32_t{RiffHeaderBytes};
            if (size >= MinReportLength) {
                ReportCapped(sink, candidate.startSector, static_cast<std::int32_t>(size), run_.maxSize);
            }
        });
    }

    static bool RestsAt(std::int64_t /*nextSector*/) { return true; }
    static std::int32_t HeaderWords(HeaderWord* words, std::int32_t capacity) {
        return HeaderWordsOf(SectorFilterOf(Signature), words, capacity);
    }

    static bool IsHeader(ByteSpan sector) { return HasPatternAt(sector, RiffFormOffset, PatternOf("WEBP")); }

private:
    static constexpr std::uint32_t MinReportLength = 128;
};
