#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "frame/bytes/BytePattern.h"
#include "frame/scan/RunScanner.h"

/// PNG images: from the signature to the IEND chunk, which is the same in every file. The chunks in between are not
/// read. Source: W3C, Portable Network Graphics (PNG) Specification, sections 5.2 and 11.2.5.
class KPngFileType final : public RunScanner<KPngFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Png];
    static constexpr auto Signature = PatternOf("\x89PNG\r\n\x1A\n");
    /// The last 8 bytes of every file: the type of the empty last chunk, and its CRC.
    static constexpr BytePattern Footer = BytePatternOf<"IEND\xAE\x42\x60\x82">();
    static constexpr std::size_t MinSectorBytes = Signature.size() + 1;
    static constexpr std::int64_t MinReportLength = 256;

    static std::optional<std::size_t> FindEnd(ByteSpan sector) { return Footer.FindEndInSector(sector); }
};
