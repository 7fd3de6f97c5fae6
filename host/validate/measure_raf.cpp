#include "host/validate/measure_raf.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "host/validate/byte_order.h"

namespace salvor {

namespace {

constexpr std::string_view Mark = "FUJIFILMCCD-RAW ";
constexpr std::size_t HeaderBytes = 136;

// Where the header lists offset and length of a piece, each a big-endian number of 4 bytes.
constexpr std::size_t Preview = 84;
constexpr std::size_t RawData = 100;
constexpr std::array<std::size_t, 3> Always{Preview, 92, RawData};
// Of the raw data of cameras with two sensors. Shorter headers have the preview there.
constexpr std::array<std::size_t, 2> OfSecondSensor{120, 128};

}  // namespace

std::optional<std::int64_t> MeasureRaf(CandidateReader& bytes) {
    std::array<std::uint8_t, HeaderBytes> header{};
    if (!bytes.Read(0, header) || !std::equal(Mark.begin(), Mark.end(), header.begin())) {
        return std::nullopt;
    }
    const auto number = [&header](std::size_t place) {
        return std::int64_t{Load32(header, place, ByteOrder::Big)};
    };
    std::int64_t end = 0;
    const auto take = [&](std::size_t place) {
        const std::int64_t start = number(place);
        const std::int64_t length = number(place + 4);
        const bool isPiece = start > static_cast<std::int64_t>(RawData) && length > 0 && start < bytes.Size();
        end = isPiece ? std::max(end, start + length) : end;
        return isPiece;
    };
    if (!take(RawData)) {
        return std::nullopt;
    }
    std::ranges::for_each(Always, take);
    for (const std::size_t place : OfSecondSensor) {
        if (number(Preview) >= static_cast<std::int64_t>(place + 8)) {
            take(place);
        }
    }
    return end;
}

}  // namespace salvor
