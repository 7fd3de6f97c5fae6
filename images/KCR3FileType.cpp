#include "images/KCR3FileType.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "formats/CanonTrailer.h"
#include "frame/read/KFileSimulator.h"

namespace {

constexpr std::uint32_t SmallestFirstBox = 16;
constexpr std::uint32_t LargestFirstBox = 64;

// The second box begins with Canon's own box, whose first box says what the file is.
constexpr auto Movie = PatternOf("moov");
constexpr auto MakersBox = PatternOf("uuid\x85\xC0\xB6\x87\x82\x0F\x11\xE0\x81\x11\xF4\xCE\x46\x2B\x6A\x48");
constexpr auto StillPicture = PatternOf("CNCVCanonCR3");
constexpr std::size_t MovieOffset = 4;
constexpr std::size_t MakersBoxOffset = 12;
constexpr std::size_t StillPictureOffset = 36;

constexpr std::array BoxTypes{BoxTypeOf("moov"), BoxTypeOf("uuid"), BoxTypeOf("mdat"),
                              BoxTypeOf("free"), BoxTypeOf("skip"), BoxTypeOf("wide")};

bool IsAccepted(std::uint32_t type) { return std::ranges::find(BoxTypes, type) != BoxTypes.end(); }
bool IsPictures(std::uint32_t type) { return type == BoxTypeOf("mdat"); }

constexpr BoxRules Rules{.isAccepted = IsAccepted, .isMain = IsPictures, .endsAtShortBox = true};

}  // namespace

bool KCR3FileType::IsHeader(ByteSpan sector) {
    const std::optional<FileTypeBox> box = FileTypeBoxOf(sector);
    return box && std::memcmp(box->majorBrand, "crx ", 4) == 0 && box->size >= SmallestFirstBox &&
           box->size <= LargestFirstBox && HasPatternAt(sector, box->size + MovieOffset, Movie) &&
           HasPatternAt(sector, box->size + MakersBoxOffset, MakersBox) &&
           HasPatternAt(sector, box->size + StillPictureOffset, StillPicture);
}

std::optional<std::int64_t> KCR3FileType::Measure(const Candidate& candidate) {
    const std::optional<BoxWalk::Result> boxes =
        memory_.Measure(candidate, LoadBig<std::uint32_t>(candidate.sector, 0), Rules);
    if (!boxes || boxes->end > boxes->limit) {
        return std::nullopt;
    }
    KFileSimulator reader(&candidate.block, candidate.startSector, static_cast<std::uint64_t>(boxes->limit));
    return CanonTrailer::EndAfter(reader, boxes->end);
}
