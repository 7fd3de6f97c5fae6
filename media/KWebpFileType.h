#pragma once

#include <cstdint>

#include "frame/RiffScanner.h"

/// WebP pictures. Source: WebP Container Specification, "WebP File Header".
class KWebpFileType final : public RunStateFileType<KWebpFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[66];
    static constexpr FormatNotes Notes{.source = "WebP Container Specification, \"WebP File Header\"",
                                       .found = "WebP pictures, still and animated, lossy and lossless.",
                                       .end = "The header holds the size; exact.",
                                       .limits = "The size of a file of 2 GiB or more comes out negative."};

    void ScanBlock(const SectorBlock* block, IFoundFileSink* sink) override {
        ForEachSector(*block, [&](const Candidate& candidate) {
            if (!IsRiffForm(candidate.sector, RiffSignature, PatternOf("WEBP")) ||
                candidate.sector.size() < MinSectorBytes) {
                return;
            }
            // The sum wraps at 32 bits. Whether there is a file is asked of the unsigned number, and how long it is of
            // the signed one.
            const std::uint32_t size =
                LoadLittle<std::uint32_t>(candidate.sector, RiffSizeOffset) + std::uint32_t{RiffHeaderBytes};
            if (size >= MinReportLength) {
                ReportCapped(sink, candidate.startSector, static_cast<std::int32_t>(size), run_.maxSize);
            }
        });
    }

private:
    static constexpr std::size_t MinSectorBytes = 512;
    static constexpr std::uint32_t MinReportLength = 128;
};
