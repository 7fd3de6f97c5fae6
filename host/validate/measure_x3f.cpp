#include "host/validate/measure_x3f.h"

#include <algorithm>
#include <array>
#include <functional>
#include <string_view>
#include <vector>

#include "host/validate/byte_order.h"

namespace salvor {

namespace {

constexpr std::string_view Mark = "FOVb";
constexpr std::string_view DirectoryMark = "SECd";
// Of the directory: its mark, its version and the number of its entries.
constexpr std::size_t HeadBytes = 12;
// Offset, length and kind of a section.
constexpr std::size_t EntryBytes = 12;
constexpr std::uint32_t MostEntries = 1024;
constexpr std::int64_t PieceBytes = std::int64_t{1} << 20;

std::uint32_t Little(std::span<const std::uint8_t> bytes, std::size_t offset) {
    return Load32(bytes, offset, ByteOrder::Little);
}

// The end of the file if its directory begins at `start`: all sections lie in front of it, and the 4 bytes behind it,
// the last of the file, say where it begins.
std::optional<std::int64_t> EndOfDirectory(CandidateReader& bytes, std::int64_t start) {
    std::array<std::uint8_t, HeadBytes> head{};
    if (!bytes.Read(start, head)) {
        return std::nullopt;
    }
    const std::uint32_t count = Little(head, 8);
    if (count < 1 || count > MostEntries) {
        return std::nullopt;
    }
    std::vector<std::uint8_t> table(count * EntryBytes + 4);
    if (!bytes.Read(start + static_cast<std::int64_t>(HeadBytes), table) ||
        Little(table, count * EntryBytes) != start) {
        return std::nullopt;
    }
    for (std::size_t at = 0; at < count * EntryBytes; at += EntryBytes) {
        if (std::int64_t{Little(table, at)} + Little(table, at + 4) > start) {
            return std::nullopt;
        }
    }
    return start + static_cast<std::int64_t>(HeadBytes + table.size());
}

}  // namespace

std::optional<std::int64_t> MeasureX3f(CandidateReader& bytes) {
    const std::boyer_moore_horspool_searcher search(DirectoryMark.begin(), DirectoryMark.end());
    // Pieces overlap, so that a mark lies whole in one of them.
    constexpr std::int64_t overlap = DirectoryMark.size() - 1;
    std::vector<std::uint8_t> piece;
    for (std::int64_t from = 0; from + overlap < bytes.Size(); from += PieceBytes) {
        piece.resize(static_cast<std::size_t>(std::min(PieceBytes + overlap, bytes.Size() - from)));
        if (!bytes.Read(from, piece) || (from == 0 && !std::equal(Mark.begin(), Mark.end(), piece.begin()))) {
            return std::nullopt;
        }
        for (auto at = piece.begin(); (at = std::search(at, piece.end(), search)) != piece.end(); ++at) {
            if (const auto end = EndOfDirectory(bytes, from + (at - piece.begin()))) {
                return end;
            }
        }
    }
    return std::nullopt;
}

}  // namespace salvor
