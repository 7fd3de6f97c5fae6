#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/MeasuringScanner.h"
#include "images/TiffFields.h"

/// Olympus raws: a TIFF structure under a mark of its own. The size is the end of the embedded JPEG that the first
/// directory names.
class KOrfFileType final : public MeasuringScanner<KOrfFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[55];
    static constexpr FormatNotes Notes{
        .source = "Adobe, TIFF Revision 6.0; CIPA DC-008 (Exif), tags of the thumbnail",
        .found = "Little-endian raws of Olympus cameras with the maker's name in the first 8192 bytes.",
        .end = "The end of the JPEG that the first directory names: that of the file only where the JPEG comes last.",
        .limits = "A file whose first directory names no JPEG gets the size of the one before it, or 0."};
    /// "IIRO" or "IIRS".
    static constexpr auto Signature = PatternOf("IIR");
    static constexpr std::size_t MinSectorBytes = 16;
    static constexpr std::int64_t MinReportLength = 0;

    std::int32_t Reset() override;

    /// Negative if it is no such file, or has no size.
    std::optional<std::int64_t> Measure(const Candidate& candidate);

private:
    void TakeFirstDirectory(KFileSimulator& file, std::uint32_t offset);

    std::uint32_t thumbnailOffset_ = 0;
    std::uint32_t thumbnailLength_ = 0;
    TiffFields fields_;
};
