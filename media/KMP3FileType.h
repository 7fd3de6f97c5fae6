#pragma once

#include <cstdint>
#include <optional>

#include "frame/memory/Gap.h"
#include "frame/memory/LastFile.h"
#include "frame/memory/ScanOffsets.h"
#include "frame/scan/MeasuringScanner.h"

/// MPEG-1 Layer III audio, with or without an ID3 tag in front: frame by frame to the first place where none follows,
/// and to an ID3v1 tag near that. Source: ISO/IEC 11172-3, section 2.4; ID3 tag version 2.4.0, section 3.1; ID3v1.
class KMP3FileType final : public MeasuringScanner<KMP3FileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Mp3];
    static constexpr auto Id3v2Tag = PatternOf("ID3");
    /// The tag, or a frame's sync word with its version and layer.
    static constexpr AnySectorFilter Filter{SectorFilterOf(Id3v2Tag),
                                            SectorFilter(PatternOf("\xFF\xFA\0\0"), PatternOf("\xFF\xFE\0\0"), 0)};
    static constexpr std::int64_t MinReportLength = 1024;

    std::int32_t Reset() override;
    void ScanBlock(const SectorBlock* block, IFoundFileSink* sink) override;
    bool RestsAt(std::int64_t nextSector) const {
        return lastFile_.EndsBy(nextSector) && MeasuringScanner::RestsAt(nextSector);
    }
    /// It remembers places on the medium and sees every block; see `RememberingScanner`.
    static std::int32_t HeaderWords(HeaderWord* /*words*/, std::int32_t /*capacity*/) { return 0; }

    static bool IsHeader(ByteSpan sector);
    std::optional<std::int64_t> Measure(const Candidate& candidate);

private:
    static bool StartsWithTag(ByteSpan sector);
    std::optional<std::int64_t> FindFirstFrame(const Candidate& candidate);
    std::int64_t FindEnd(const Candidate& candidate, std::int64_t endOfFrames);

    ScanOffsets row_;
    Gap frameGap_;
    Gap endTagGap_;
    // Shared by all scanners of this type and kept between scans: frames inside the last reported file do not begin
    // files of their own.
    static inline LastFile lastFile_;
};
