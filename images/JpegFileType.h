#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "frame/bytes/CompareBytesNoCase.h"
#include "frame/scan/RememberingScanner.h"
#include "images/JpegEnd.h"

/// What the two JPEG types share: everything but the identifier of the first segment. A file is measured by walking its
/// marker segments and searching for the end-of-image marker. Source: ITU-T T.81, annex B.
template <class Self>
class JpegFileType : public RememberingScanner<Self, JpegEndSearch> {
public:
    static constexpr std::int64_t MinReportLength = 512;
    /// The start-of-image marker and a marker's prefix.
    static constexpr SectorFilter Filter = SectorFilterOf(PatternOf("\xFF\xD8\xFF"));

    /// One virtual function more than the contract has: 1 if the `length` bytes at `sector` start a JPEG of this type,
    /// else 0. The last argument is unused.
    virtual std::int32_t IsHeaderSector(const std::uint8_t* sector, std::int32_t length, std::int32_t* unused) = 0;

    bool IsHeader(ByteSpan sector) {
        return this->self().IsHeaderSector(sector.data(), static_cast<std::int32_t>(sector.size()), nullptr) != 0;
    }

    std::optional<std::int64_t> Measure(const Candidate& candidate) { return this->memory_.FindEnd(candidate); }

protected:
    /// True if the sector begins with the start-of-image marker and a segment with one of the identifiers, in any
    /// letter case.
    template <std::size_t... N>
    static bool OpensWithSegment(const std::uint8_t* sector, std::int32_t length, const Pattern<N>&... identifiers) {
        // After the start marker, the segment's marker and its length, two bytes each.
        constexpr std::int32_t identifierOffset = 6;
        constexpr std::int32_t shortestHeader = 8;
        if (sector == nullptr || length < shortestHeader || sector[0] != 0xFF || sector[1] != 0xD8 ||
            sector[2] != 0xFF) {
            return false;
        }
        const auto room = static_cast<std::size_t>(length - identifierOffset);
        return ((identifiers.size() <= room &&
                 CompareBytesNoCase(sector + identifierOffset, identifiers.data(), identifiers.size()) == 0) ||
                ...);
    }
};
