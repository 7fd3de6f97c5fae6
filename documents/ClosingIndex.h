#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "frame/bytes/Bytes.h"
#include "frame/memory/Gap.h"
#include "frame/read/FileWindow.h"

/// Finds closing boundaries: texts, different for each message, that end in two hyphens. A filter of fixed size
/// remembers for each page of the bytes ahead what comes before two hyphens in it. Pages that cannot have the boundary
/// are skipped, so that many messages whose boundary never comes cost little more than one.
///
/// Places are in bytes from a fixed place of the medium.
class ClosingIndex {
public:
    /// The shortest closing boundary has one byte between its hyphens.
    static constexpr std::size_t MinClosing = 5;

    /// Forgets everything and prepares for searches over `reach` bytes that begin at ascending places.
    void Prepare(std::int64_t reach);
    bool IsPreparedFor(std::int64_t reach) const { return !bits_.empty() && reach_ == reach; }

    /// Looks for `closing` from `at` on, in one page, or skips pages that cannot have it. The file begins at `base`, a
    /// sector or more before `at`.
    Gap::Step Search(ByteSpan closing, FileWindow& file, std::int64_t base, std::int64_t at, std::int64_t end);

private:
    void IndexUpTo(FileWindow& file, std::int64_t base, std::int64_t to);
    void IndexPlaces(ByteSpan bytes);
    // A page's bit in the words of its group, which it makes its own.
    struct Page {
        std::span<std::uint64_t> words;
        std::uint64_t bit;
    };
    Page PageOf(std::int64_t page);
    // One bit for each page that may have the key: the lowest bit is `page`, the highest the last page of its group.
    std::uint64_t PagesFrom(std::int64_t page, ByteSpan key) const;

    // For each hash, a word with a bit for each page of a group.
    static constexpr std::int64_t PagesInGroup = 64;
    static constexpr std::size_t Words = 4096;
    static constexpr std::size_t Groups = 32;
    std::vector<std::uint64_t> bits_;
    // The group at each place of the ring.
    std::array<std::int64_t, Groups> groupAt_{};
    std::int64_t reach_ = 0;
    std::int64_t pageBytes_ = 0;
    // Everything before this place is indexed.
    std::int64_t indexedTo_ = 0;
};
