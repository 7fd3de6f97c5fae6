#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/MeasuringScanner.h"

/// 7z archives, which end with the header that the start header points at. Source: 7zFormat.txt, "Start Header".
class K7ZipFileType final : public MeasuringScanner<K7ZipFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::SevenZip];
    static constexpr auto Signature = PatternOf("7z\xBC\xAF\x27\x1C");
    static constexpr std::size_t MinSectorBytes = 17;
    static constexpr std::int64_t MinReportLength = 256;

    static std::optional<std::int64_t> Measure(const Candidate& candidate);
};
