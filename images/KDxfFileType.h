#pragma once

#include <cstdint>
#include <optional>

#include "frame/bytes/BytePairs.h"
#include "frame/scan/WalkingScanner.h"

/// AutoCAD's exchange format: pairs of a group code and a value, as lines of text or in binary. Source: Autodesk, DXF
/// Reference, releases 12 to 2018.
class KDxfFileType final : public WalkingScanner<KDxfFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[82];
    static constexpr FormatNotes Notes{
        .source = "Autodesk, DXF Reference, releases 12 to 2018",
        .found =
            "Text with or without a byte order mark, comments in front included, and the binary form of release 10 "
            "and later.",
        .end =
            "The pair 0, EOF; exact. A text drawing that breaks off behind its ENTITIES ends with its last whole "
            "line.",
        .limits =
            "Files without sections, as before release 1.4, are not found. Text behind the last pair is left "
            "out."};
    /// A line with a code, "AutoCAD Binary DXF", or a byte-order mark.
    static constexpr BytePairs Filter =
        BytePairs().Allow(" \t09", [](std::uint8_t byte) { return byte < 0x80; }).Allow("A", 'u').Allow("\xEF", 0xBB);
    static constexpr std::int64_t MinReportLength = 256;
    static constexpr std::int64_t WalkLimit = Identity.maxSize;

    static bool IsHeader(ByteSpan sector);
    static std::optional<std::int64_t> Walk(FileWindow& file);
};
