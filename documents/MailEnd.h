#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "documents/ClosingIndex.h"
#include "frame/bytes/Bytes.h"
#include "frame/memory/Gap.h"
#include "frame/read/FileWindow.h"
#include "frame/scan/PlacedMemory.h"

/// Finds the ends of mail messages. It remembers from earlier messages where the next content header is, what it says,
/// and where its marker does not occur. So many messages before the same header, or with markers that never come, cost
/// little more than one.
class MailEndSearch : public PlacedMemory {
public:
    void EnterBlock(const SectorBlock& block);

    /// Length in bytes of the message that starts at the candidate, up to the marker named by its first content header.
    /// Sectors have 512 to 2048 bytes. Nothing if there is no such header, or if the marker does not begin in the first
    /// `maxSize / sectorSize + 1` sectors.
    std::optional<std::int64_t> FindEnd(const Candidate& candidate, std::int64_t maxSize);

private:
    // What a content header says. `place` is where it is, -1 for none.
    struct ContentHeader {
        enum class Kind { Nothing, EndsInView, ToMarker };
        std::int64_t place = -1;
        Kind kind = Kind::Nothing;
        // Where the message ends, from the start of the header's sector.
        std::size_t end = 0;
        std::vector<std::uint8_t> marker;
        bool isClosing = false;
    };
    static ContentHeader ReadHeader(ByteSpan view, std::size_t sectorSize, std::size_t offset);

    std::optional<std::int64_t> FindMarker(FileWindow& file, std::int64_t base, std::int64_t from, std::int64_t end);

    void Forget();

    std::int64_t reach_ = 0;
    Gap contentGap_;
    ContentHeader header_;
    Gap htmlGap_;
    // For the marker of the last header with a boundary.
    Gap closingGap_;
    std::vector<std::uint8_t> closing_;
    ClosingIndex closingIndex_;
};
