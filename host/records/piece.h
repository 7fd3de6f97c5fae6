#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace salvor {

/// One of the pieces into which work is divided for several machines; counts from 1.
struct Piece {
    std::int64_t number = 1;
    std::int64_t count = 1;
};

/// The suffix of a piece's part of a file that all pieces write together: ".3-of-16".
std::string SuffixOf(const Piece& piece);

/// The piece whose part of `name` is in a file of this name: 3 of 16 for `name.3-of-16`. Nothing for other files.
std::optional<Piece> PieceNamed(std::string_view file, std::string_view name);

/// The unfinished pieces, for messages: "2, 5 of 16". If the work was divided in several ways, those of the division
/// that is furthest on. Empty if all pieces of a division are done. `count` is the number of pieces to assume if none
/// is done yet.
std::string MissingPieces(const std::vector<Piece>& done, std::int64_t count = 0);

}  // namespace salvor
