#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "documents/ClosingIndex.h"
#include "documents/ForwardSearch.h"
#include "frame/bytes/Bytes.h"
#include "frame/read/Budget.h"
#include "frame/read/FileWindow.h"
#include "frame/scan/SectorScan.h"

/// Finds the ends of mail messages. It remembers what earlier messages of the scan have shown: where the next content
/// header stands, what it says, and where the marker that it names does not occur. So many messages in front of the
/// same header, or with markers that never come, cost little more than one.
class MailEndSearch {
public:
    /// Forgets the scan before.
    void Reset() { *this = {}; }

    void EnterBlock(const SectorBlock& block) { budget_.EnterBlock(block); }

    /// Length in bytes of the message that starts at the candidate, whose sectors have 512 to 2048 bytes: by the marker
    /// that its first content header names. Nothing if there is no such header or marker, or if it does not begin in
    /// the first `maxSize / sectorSize + 1` sectors.
    std::optional<std::int64_t> FindEnd(const Candidate& candidate, std::int64_t maxSize);

private:
    // Places are bytes, counted from the start of the first candidate's sector.

    // What a content header says. `place` is where it stands, -1 for none.
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

    void Forget();
    std::int64_t PlaceOf(const Candidate& candidate);
    std::optional<std::int64_t> FindMarker(FileWindow& file, std::int64_t base, std::int64_t from, std::int64_t end);

    std::int64_t origin_ = 0;
    std::int64_t lastStart_ = -1;
    std::int64_t reach_ = 0;
    ForwardSearch contentSearch_;
    ContentHeader header_;
    ForwardSearch htmlSearch_;
    // For the marker of the last header that named a boundary.
    ForwardSearch closingSearch_;
    std::vector<std::uint8_t> closing_;
    ClosingIndex closingIndex_;
    Budget budget_;
};
