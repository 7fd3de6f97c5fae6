#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/WalkingScanner.h"

/// Casio QV camera pictures. The header lists the areas that follow it. Source: QV-10 CAM Format, 1996 (unofficial).
class KCAMFileType final : public WalkingScanner<KCAMFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Cam];
    static constexpr auto Signature = PatternOf("\x07\x20MM");
    /// The header and the first descriptor.
    static constexpr std::size_t MinSectorBytes = 22;
    static constexpr std::int64_t MinReportLength = 256;
    static constexpr std::int64_t WalkLimit = Identity.largestSize;

    KCAMFileType() { KCAMFileType::Reset(); }

    std::int32_t Reset() override;

    static bool IsHeader(ByteSpan sector);
    static std::optional<std::int64_t> Walk(FileWindow& file);
};
