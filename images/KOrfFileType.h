#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/MeasuringScanner.h"
#include "images/TiffFields.h"

/// Olympus raws: TIFF with a signature of its own. The size is the end of the embedded JPEG named by the first
/// directory.
class KOrfFileType final : public MeasuringScanner<KOrfFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Orf];
    /// "IIRO" or "IIRS".
    static constexpr auto Signature = PatternOf("IIR");
    static constexpr std::size_t MinSectorBytes = 16;
    static constexpr std::int64_t MinReportLength = 0;

    std::int32_t Reset() override;

    /// Negative if this is not such a file or has no size.
    std::optional<std::int64_t> Measure(const Candidate& candidate);

    /// The number of sizes computed from values that a file before all candidates may have left.
    std::int64_t Guesses() const { return guesses_; }

private:
    void TakeFirstDirectory(KFileSimulator& file, std::uint32_t offset);

    std::uint32_t thumbnailOffset_ = 0;
    std::uint32_t thumbnailLength_ = 0;
    TiffFields fields_;
    // A candidate has set the offset.
    bool hasThumbnailOffset_ = false;
    bool hasThumbnailLength_ = false;
    std::int64_t guesses_ = 0;
};
