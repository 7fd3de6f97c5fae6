#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "frame/bytes/Bytes.h"
#include "frame/memory/Gap.h"
#include "frame/read/FileWindow.h"

/// Finds closing boundaries, each another text that ends in two hyphens. It keeps in mind, page by page of the bytes
/// ahead, which texts stand in front of two hyphens there, as a filter of a fixed size: pages that cannot hold the
/// boundary need not be searched, so that many messages whose boundary never comes cost little more than one.
///
/// Places are bytes, counted from any fixed place of the medium.
class ClosingIndex {
public:
    /// The shortest closing boundary has one byte between its hyphens.
    static constexpr std::size_t MinClosing = 5;

    /// Forgets everything and makes ready for searches that reach `reach` bytes and begin at ascending places.
    void Prepare(std::int64_t reach);
    bool IsPreparedFor(std::int64_t reach) const { return !bits_.empty() && reach_ == reach; }

    /// Looks for `closing` from `at` on, in one page or in some that cannot hold it. The file begins at `base`, a
    /// sector or more in front of `at`.
    Gap::Step Search(ByteSpan closing, FileWindow& file, std::int64_t base, std::int64_t at, std::int64_t end);

private:
    void Enter(FileWindow& file, std::int64_t base, std::int64_t to);
    void EnterPlaces(ByteSpan bytes);
    void EnterKey(std::int64_t page, ByteSpan key);
    // The pages of a group that may hold the key, from a page on, in the lowest bit, to the group's last.
    std::uint64_t PagesFrom(std::int64_t page, ByteSpan key) const;

    // A bit for each page of a group; as many words, one for each number that a key can give.
    static constexpr std::int64_t PagesInGroup = 64;
    static constexpr std::size_t Words = 4096;
    static constexpr std::size_t Groups = 32;
    std::vector<std::uint64_t> bits_;
    // The group whose bits stand at a place of the ring.
    std::array<std::int64_t, Groups> groupAt_{};
    std::int64_t reach_ = 0;
    std::int64_t pageBytes_ = 0;
    // Everything in front of this place is entered.
    std::int64_t entered_ = 0;
};
