#include "documents/ClosingIndex.h"

#include <algorithm>
#include <bit>

#include "frame/bytes/BytePattern.h"
#include "frame/bytes/PlaceSearch.h"

namespace {

// Keys are the last bytes before the two hyphens, in these lengths. The longest one that a boundary fills is looked up.
constexpr std::array<std::size_t, 3> KeyLengths{20, 6, 3};
constexpr std::size_t LongKey = KeyLengths[0];
constexpr std::size_t Hyphens = 2;
constexpr std::int64_t MinPageBytes = 4096;

ByteSpan KeyOf(ByteSpan closing) {
    const ByteSpan front = closing.first(closing.size() - Hyphens);
    const auto* const length =
        std::ranges::find_if(KeyLengths, [&](std::size_t bytes) { return bytes <= front.size(); });
    return front.last(*length);
}

// Of a key, only the last bytes are hashed.
constexpr std::size_t Hashed = sizeof(std::uint64_t);

// The last bytes of a key, the last one lowest.
std::uint64_t TailOf(ByteSpan key) {
    std::uint64_t tail = 0;
    for (const std::uint8_t byte : key.last(std::min(key.size(), Hashed))) {
        tail = tail << 8U | byte;
    }
    return tail;
}

// Two independent hashes below 4096, of a key of some length. More bytes than its own may stand above them.
std::array<std::size_t, 2> NumbersOf(std::size_t length, std::uint64_t tail) {
    std::uint64_t value = tail;
    if (length < Hashed) {
        const std::size_t bits = 8 * length;
        value = std::uint64_t{length} << bits | (tail & ((std::uint64_t{1} << bits) - 1));
    }
    value *= 0x9E3779B97F4A7C15U;
    value ^= value >> 32U;
    value *= 0x9E3779B97F4A7C15U;
    return {static_cast<std::size_t>(value >> 52U), static_cast<std::size_t>(value >> 40U & 0xFFFU)};
}

}  // namespace

void ClosingIndex::Prepare(std::int64_t reach) {
    bits_.assign(Words * Groups, 0);
    groupAt_.fill(-1);
    indexedTo_ = 0;
    reach_ = reach;
    // Some groups are spare, for what lies just outside the reach.
    constexpr auto pages = static_cast<std::int64_t>(Groups - 4) * PagesInGroup;
    pageBytes_ = MinPageBytes;
    while (pageBytes_ < reach / pages + 1) {
        pageBytes_ *= 2;
    }
}

Gap::Step ClosingIndex::Search(ByteSpan closing, FileWindow& file, std::int64_t base, std::int64_t at,
                               std::int64_t end) {
    // Messages further on may be read further, where a source understates its size. What this one cannot read is not
    // indexed for them.
    if (at - base >= file.Limit()) {
        return {at, false};
    }
    // A text belongs to the page that its closing hyphens are in.
    const auto front = static_cast<std::int64_t>(closing.size() - Hyphens);
    const std::int64_t page = (at + front) / pageBytes_;
    const std::int64_t stop = std::min(end, (page + 1) * pageBytes_ - front);
    // Later searches from here on may look for shorter texts.
    indexedTo_ = std::max(indexedTo_, at + static_cast<std::int64_t>(MinClosing - Hyphens));
    IndexUpTo(file, base, stop + front);
    const std::uint64_t pages = PagesFrom(page, KeyOf(closing));
    if ((pages & 1U) != 0) {
        const std::int64_t lastEnd = stop - 1 + static_cast<std::int64_t>(closing.size());
        if (const auto found = file.Find(BytePattern(closing), at - base, lastEnd - base)) {
            return {base + *found, true};
        }
        return {stop, false};
    }
    // Skips the pages after it too, as far as they are indexed.
    const std::int64_t without = std::min<std::int64_t>(std::countr_zero(pages), PagesInGroup - page % PagesInGroup);
    const std::int64_t passed = std::clamp<std::int64_t>(indexedTo_ / pageBytes_ - page, 1, without);
    return {std::min(end, (page + passed) * pageBytes_ - front), false};
}

// Indexes at least the places before `to`, as far as the file can be read.
void ClosingIndex::IndexUpTo(FileWindow& file, std::int64_t base, std::int64_t to) {
    constexpr std::size_t around = LongKey + Hyphens;
    while (indexedTo_ < to) {
        const ByteSpan bytes = file.From(indexedTo_ - static_cast<std::int64_t>(LongKey) - base, around);
        if (bytes.size() < around) {
            return;
        }
        IndexPlaces(bytes);
        indexedTo_ += static_cast<std::int64_t>(bytes.size() - around) + 1;
    }
}

// `bytes` begins one long key before the first place to index.
void ClosingIndex::IndexPlaces(ByteSpan bytes) {
    const auto isHyphen = [](const std::uint8_t* place) {
        return static_cast<std::uint8_t>((place[0] ^ std::uint8_t{'-'}) | (place[1] ^ std::uint8_t{'-'}));
    };
    Page page{};
    std::size_t pageEnd = 0;
    const auto enter = [&](std::size_t place) {
        if (place >= pageEnd) {
            const std::int64_t at = indexedTo_ + static_cast<std::int64_t>(place - LongKey);
            page = PageOf(at / pageBytes_);
            pageEnd = place + static_cast<std::size_t>(pageBytes_ - at % pageBytes_);
        }
        const auto tail = LoadBig<std::uint64_t>(bytes, place - Hashed);
        for (const std::size_t length : KeyLengths) {
            for (const std::size_t number : NumbersOf(length, tail)) {
                page.words[number] |= page.bit;
            }
        }
        return false;  // keep searching
    };
    FindPlace(bytes.data(), LongKey, bytes.size() - 1, isHyphen, enter);
}

ClosingIndex::Page ClosingIndex::PageOf(std::int64_t page) {
    const std::int64_t group = page / PagesInGroup;
    const std::size_t place = static_cast<std::size_t>(group) % Groups;
    const std::span<std::uint64_t> words = std::span(bits_).subspan(place * Words, Words);
    if (groupAt_[place] != group) {
        groupAt_[place] = group;
        std::ranges::fill(words, 0);
    }
    return {words, std::uint64_t{1} << (page % PagesInGroup)};
}

std::uint64_t ClosingIndex::PagesFrom(std::int64_t page, ByteSpan key) const {
    const std::int64_t group = page / PagesInGroup;
    const std::size_t place = static_cast<std::size_t>(group) % Groups;
    if (groupAt_[place] != group) {
        return 0;  // no two hyphens in this group
    }
    const auto [first, second] = NumbersOf(key.size(), TailOf(key));
    return (bits_[place * Words + first] & bits_[place * Words + second]) >> (page % PagesInGroup);
}
