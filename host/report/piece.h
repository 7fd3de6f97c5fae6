#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace salvor {

/// One of the pieces into which work is cut for several machines; counts from 1.
struct Piece {
    std::int64_t number = 1;
    std::int64_t count = 1;
};

/// What a piece adds to the name of a file that all pieces together make: ".3-of-16".
std::string SuffixOf(const Piece& piece);

/// The piece that keeps its part of `name` in a file of this name: 3 of 16 for `name.3-of-16`. Nothing for other files.
std::optional<Piece> PieceNamed(std::string_view file, std::string_view name);

/// Which pieces are not among those that are done, for people: "2, 5 of 16". Where the work was cut in several ways it
/// is those of the cut of which most is done. Empty if all pieces of a cut are done. `count` is how many there are
/// where none is done.
std::string MissingPieces(const std::vector<Piece>& done, std::int64_t count = 0);

}  // namespace salvor
