#include "host/validators/media/box.h"

#include <algorithm>
#include <array>
#include <bit>
#include <limits>

namespace salvor {

namespace {

constexpr std::int64_t HeaderBytes = 8;
constexpr std::int64_t LongHeaderBytes = 16;

}  // namespace

std::optional<Box> ReadBox(ByteWindow& file, std::int64_t offset) {
    const ByteSpan header = file.At(offset, HeaderBytes);
    const auto isPrintable = [](std::uint8_t byte) {
        // Apple's own types begin with a copyright sign, A9h in their character set.
        return (byte >= 0x20 && byte < 0x7F) || byte == 0xA9;
    };
    if (header.empty() || !std::ranges::all_of(header.subspan(4), isPrintable)) {
        return std::nullopt;
    }
    const std::array<std::uint8_t, 4> characters{header[4], header[5], header[6], header[7]};
    std::uint64_t size = LoadBig<std::uint32_t>(header, 0);
    Box box{.type = std::bit_cast<std::uint32_t>(characters), .start = offset, .content = offset + HeaderBytes};
    if (size == 0) {
        return box;
    }
    if (size == 1) {
        const ByteSpan longSize = file.At(offset + HeaderBytes, 8);
        size = longSize.empty() ? 0 : LoadBig<std::uint64_t>(longSize, 0);
        box.content = offset + LongHeaderBytes;
    }
    if (size < static_cast<std::uint64_t>(box.content - offset)) {
        return std::nullopt;
    }
    // Beyond any file; sums with it do not overflow.
    constexpr auto farAway = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max() / 4);
    box.end = offset + static_cast<std::int64_t>(std::min(size, farAway));
    return box;
}

bool ForEachBox(ByteWindow& file, std::int64_t from, std::int64_t to, const std::function<bool(const Box&)>& visit) {
    // QuickTime ends some lists with a 4-byte zero.
    while (from + HeaderBytes <= to) {
        const std::optional<Box> box = ReadBox(file, from);
        file.Charge(HeaderBytes);
        if (!box || box->end <= from || box->end > to || file.IsExhausted() || !visit(*box)) {
            return false;
        }
        from = box->end;
    }
    return from <= to;
}

}  // namespace salvor
