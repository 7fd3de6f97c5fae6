#include "images/KOrfFileType.h"

#include <array>

#include "formats/TiffTags.h"
#include "frame/bytes/CompareBytesNoCase.h"
#include "frame/bytes/PlaceSearch.h"

namespace {

constexpr std::size_t FirstDirectoryOffset = 4;
constexpr Endian Order = Endian::Little;

// How far the maker's name is searched for, in either case.
constexpr std::size_t HeadBytes = 8192;
constexpr auto Maker = PatternOf("OLYMPUS");
using Head = std::array<std::uint8_t, HeadBytes>;

constexpr std::int64_t NotReported = -1;

enum Tag : std::uint16_t {
    OldImageWidth = 2,
    OldImageLength = 3,
};

bool NamesMaker(const Head& head) {
    // A name in the very last bytes does not count.
    constexpr std::size_t places = HeadBytes - Maker.size();
    constexpr std::uint8_t upperCase = 0xDF;
    const auto difference = [](const std::uint8_t* place) {
        return static_cast<std::uint8_t>(((place[0] & upperCase) ^ Maker[0]) | ((place[1] & upperCase) ^ Maker[1]));
    };
    return FindPlace(head.data(), 0, places, difference,
                     [&](std::size_t place) {
                         return CompareBytesNoCase(head.data() + place, Maker.data(), Maker.size()) == 0;
                     })
        .has_value();
}

}  // namespace

std::int32_t KOrfFileType::Reset() {
    thumbnailOffset_ = 0;
    thumbnailLength_ = 0;
    fields_.texts = {};
    hasThumbnailOffset_ = false;
    hasThumbnailLength_ = false;
    guesses_ = 0;
    return MeasuringScanner::Reset();
}

std::optional<std::int64_t> KOrfFileType::Measure(const Candidate& candidate) {
    KFileSimulator file(&candidate.block, candidate.startSector, static_cast<std::uint32_t>(run_.maxSize));
    Head head{};
    // Bytes that cannot be read stay zero.
    file.Read(head.data(), head.size());
    if (!NamesMaker(head)) {
        return NotReported;
    }
    TakeFirstDirectory(file, LoadAs<std::uint32_t>(head, FirstDirectoryOffset, Order));
    guesses_ += hasThumbnailOffset_ && hasThumbnailLength_ ? 0 : 1;
    // The end wraps to a negative number at 2 GiB.
    return static_cast<std::int32_t>(thumbnailLength_ + thumbnailOffset_);
}

// The entries before a broken one have taken effect.
void KOrfFileType::TakeFirstDirectory(KFileSimulator& file, std::uint32_t offset) {
    if (offset > run_.maxSize) {
        return;
    }
    TiffValue value(Order);
    ForEachTiffEntry(file, offset, Order, [&](const TiffEntry& entry) {
        value.Take(entry);
        switch (entry.tag) {
            case OldImageWidth:
                fields_.Set(TiffTag::ImageWidth, value);
                break;
            case OldImageLength:
                fields_.Set(TiffTag::ImageLength, value);
                break;
            case TiffTag::JpegOffset:
                thumbnailOffset_ = value.Number();
                hasThumbnailOffset_ = true;
                break;
            case TiffTag::JpegLength:
                thumbnailLength_ = value.Number();
                hasThumbnailLength_ = true;
                break;
            default:
                fields_.Set(entry.tag, value);
                break;
        }
    });
}
