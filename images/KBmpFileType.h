#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/MeasuringScanner.h"

/// Windows and OS/2 bitmaps. The two-byte signature says little and the declared file size is wrong in files of several
/// writers, so the size follows from the picture's geometry and every field must fit it. Sources: Windows GDI, Bitmap
/// Storage; OS/2 2.0 bitmap file format.
class KBmpFileType final : public MeasuringScanner<KBmpFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[48];
    static constexpr FormatNotes Notes{
        .source = "Windows GDI, Bitmap Storage; OS/2 2.0 bitmap file format",
        .found =
            "Bitmaps of all Windows and OS/2 header versions, of 1 to 32 bits, plain or compressed, bottom-up or "
            "top-down.",
        .end =
            "Computed from the picture's size and depth, or the declared size where that is at most 4096 bytes more; "
            "exact. Compressed pictures end where the header says.",
        .limits =
            "OS/2 arrays, icons and pointers are not found. Pixels have no structure: a file whose rest was "
            "overwritten is found with its full size."};
    static constexpr auto Signature = PatternOf("BM");
    static constexpr std::int64_t MinReportLength = 256;

    static bool IsHeader(ByteSpan sector);
    static std::optional<std::int64_t> Measure(const Candidate& candidate);
};
