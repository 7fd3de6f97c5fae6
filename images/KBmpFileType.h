#pragma once

#include <cstdint>
#include <optional>

#include "formats/PictureWalks.h"
#include "frame/scan/MeasuringScanner.h"

/// Windows and OS/2 bitmaps. The two-byte signature proves little and several programs write a wrong file size, so the
/// size is computed from the picture's geometry and every field must agree with it. Sources: Windows GDI, Bitmap
/// Storage; OS/2 2.0 bitmap file format.
class KBmpFileType final : public MeasuringScanner<KBmpFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Bmp];
    static constexpr auto Signature = PatternOf("BM");
    static constexpr std::int64_t MinReportLength = 256;

    static bool IsHeader(ByteSpan sector) { return BmpPicture::IsHeader(sector); }
    static std::optional<std::int64_t> Measure(const Candidate& candidate) {
        const std::optional<WalkedFile> walked = BmpPicture::Measure(candidate.sector);
        return walked ? std::optional(walked->size) : std::nullopt;
    }
};
