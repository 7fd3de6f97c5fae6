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

    static std::optional<std::int64_t> Measure(const Candidate& candidate) {
        constexpr std::uint32_t startHeaderBytes = 32;
        // Both fields have 8 bytes, of which the lower 4 are read. The offset counts from the end of the start header.
        constexpr std::size_t nextHeaderOffset = 12;
        constexpr std::size_t nextHeaderSize = 20;
        const ByteSpan header = candidate.RestOfBlock();
        if (header.size() < nextHeaderSize + sizeof(std::uint32_t)) {
            return std::nullopt;
        }
        // A 32-bit sum: 2 GiB and more turn negative, which is no size.
        return static_cast<std::int32_t>(startHeaderBytes + LoadLittle<std::uint32_t>(header, nextHeaderOffset) +
                                         LoadLittle<std::uint32_t>(header, nextHeaderSize));
    }
};
