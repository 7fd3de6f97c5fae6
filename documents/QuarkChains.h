#pragma once

#include <cstdint>
#include <optional>

#include "frame/scan/WalkingScanner.h"

/// What a QuarkXPress file is by the letters of its header; books and libraries are nothing.
enum class QuarkKind : std::uint8_t { None, Project, Template };

QuarkKind QuarkKindOf(ByteSpan sector);

/// The length of a file with a sound header, in bytes: up to the last block that one of its chains covers.
std::optional<std::int64_t> QuarkLength(FileWindow& file);

/// A scanner for the files of one kind.
template <class Self, QuarkKind Kind>
class QuarkFileType : public WalkingScanner<Self> {
public:
    /// Behind two zeros and the byte order: "XPR".
    static constexpr SectorFilter Filter = SectorFilterOf(PatternOf("XPR"), 4);
    static constexpr std::int64_t MinReportLength = 2048;
    static constexpr std::int64_t WalkLimit = 0x7FFFFFFF;

    static bool IsHeader(ByteSpan sector) { return QuarkKindOf(sector) == Kind; }
    static std::optional<std::int64_t> Walk(FileWindow& file) { return QuarkLength(file); }
};
