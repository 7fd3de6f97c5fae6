#include "host/records/piece.h"

#include <fmt/format.h>

#include <charconv>
#include <map>
#include <set>

namespace salvor {

namespace {

std::optional<std::int64_t> NumberIn(std::string_view text) {
    std::int64_t number = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && stop == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

}  // namespace

std::string SuffixOf(const Piece& piece) { return fmt::format(".{}-of-{}", piece.number, piece.count); }

std::optional<Piece> PieceNamed(std::string_view file, std::string_view name) {
    constexpr std::string_view between = "-of-";
    const std::size_t at = file.rfind(between);
    if (!file.starts_with(name) || at == std::string_view::npos || at <= name.size()) {
        return std::nullopt;
    }
    const auto number = NumberIn(file.substr(name.size() + 1, at - name.size() - 1));
    const auto count = NumberIn(file.substr(at + between.size()));
    const Piece piece{number.value_or(0), count.value_or(0)};
    const bool isPiece =
        piece.number >= 1 && piece.number <= piece.count && file == std::string(name) + SuffixOf(piece);
    return isPiece ? std::optional(piece) : std::nullopt;
}

std::string MissingPieces(const std::vector<Piece>& done, std::int64_t count) {
    std::map<std::int64_t, std::set<std::int64_t>> cuts;
    for (const Piece& piece : done) {
        cuts[piece.count].insert(piece.number);
    }
    std::int64_t most = 0;
    for (const auto& [cut, numbers] : cuts) {
        if (std::ssize(numbers) == cut) {
            return "";
        }
        if (std::ssize(numbers) > most) {
            most = std::ssize(numbers);
            count = cut;
        }
    }
    constexpr int mostNamed = 20;
    std::string text;
    int named = 0;
    for (std::int64_t number = 1; number <= count && named <= mostNamed; ++number) {
        if (!cuts[count].contains(number)) {
            text += named == 0 ? "" : ", ";
            text += named++ < mostNamed ? std::to_string(number) : "...";
        }
    }
    return text.empty() ? "" : fmt::format("{} of {}", text, count);
}

}  // namespace salvor
