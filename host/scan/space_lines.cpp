#include "host/scan/space_lines.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <utility>
#include <vector>

#include "host/records/digest.h"

namespace salvor {

namespace {

constexpr std::size_t PiecesOnALine = 2048;
// More than any valid record has.
constexpr std::int64_t MostPieces = std::int64_t{1} << 24;

std::string DigestOf(const Space& space) {
    const std::string bytes = space.Bytes();
    Sha256 digest;
    digest.Add(bytes.data(), bytes.size());
    return digest.Hex();
}

void AddPiece(Space& space, const Extent& piece) {
    const std::int64_t sectors = space.MediumSectors();
    const bool isGap = piece.startSector == Space::Gap;
    const std::int64_t room = isGap ? sectors : sectors - piece.startSector;
    if (piece.startSector < Space::Gap || room < 1 || piece.bytes < 1 || piece.bytes > room * space.SectorSize() ||
        space.SizeInBytes() > std::numeric_limits<std::int64_t>::max() / 4) {
        throw std::invalid_argument("no piece of the medium");
    }
    space.Add(piece);
}

}  // namespace

Json SpaceToJson(const Space& space) {
    return {{"kind", SpaceWord(space.Kind())},
            {"pieces", space.PieceCount()},
            {"bytes", space.SizeInBytes()},
            {"digest", DigestOf(space)}};
}

std::string SpaceLines(const Space& space) {
    std::string text;
    for (std::size_t from = 0; from < space.PieceCount(); from += PiecesOnALine) {
        const std::size_t to = std::min(from + PiecesOnALine, space.PieceCount());
        Json pieces = Json::array();
        for (std::size_t i = from; i < to; ++i) {
            const Extent piece = space.PieceAt(i);
            pieces.push_back({piece.startSector, piece.bytes});
        }
        text += JsonLine({{"record", "space"}, {"pieces", std::move(pieces)}});
    }
    return text;
}

std::shared_ptr<const Space> SpaceFromLines(const Json& record, std::int32_t sectorSize, std::int64_t mediumBytes,
                                            LineReader& lines) {
    const auto kind = SpaceNamed(record.at("kind").get<std::string>());
    const std::int64_t count = IntegerIn(record, "pieces");
    if (!kind || count < 1 || count > MostPieces) {
        throw std::invalid_argument("no kind of space");
    }
    auto space = std::make_shared<Space>(sectorSize, mediumBytes, *kind);
    std::string line;
    while (static_cast<std::int64_t>(space->PieceCount()) < count) {
        const Json pieces = lines.Next(line) ? ParseJsonLine(line).at("pieces") : Json();
        if (pieces.empty()) {
            throw std::invalid_argument("no pieces");
        }
        for (const Json& piece : pieces) {
            AddPiece(*space, {IntegerOf(piece.at(0)), IntegerOf(piece.at(1))});
        }
    }
    if (DigestOf(*space) != record.at("digest").get<std::string>()) {
        throw std::invalid_argument("another digest");
    }
    return space;
}

}  // namespace salvor
