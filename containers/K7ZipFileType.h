#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/MeasuringScanner.h"

/// 7z archives, which end with the header that the start header points at. Source: 7zFormat.txt, "Start Header".
class K7ZipFileType final : public MeasuringScanner<K7ZipFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[68];
    static constexpr FormatNotes Notes{.source = "7zFormat.txt, \"Start Header\"",
                                       .found = "7z archives of format version 0.",
                                       .end = "The start header says where the last header ends; exact.",
                                       .limits = "Split volumes are found up to what the first of them declares."};
    static constexpr auto Signature = PatternOf("7z\xBC\xAF\x27\x1C");
    static constexpr std::size_t MinSectorBytes = 17;
    static constexpr std::int64_t MinReportLength = 256;

    static std::optional<std::int64_t> Measure(const Candidate& candidate);
};
