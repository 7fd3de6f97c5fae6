#include "host/validators/text/text_bytes.h"

#include <algorithm>

namespace salvor {

namespace {

// Tests `Stride` bytes at once. Returns the offset of the first of them that are not all passed.
template <std::size_t Stride, class IsPassed>
std::size_t PassStrides(ByteSpan bytes, std::size_t at, IsPassed isPassed) {
    for (; bytes.size() - at >= Stride; at += Stride) {
        const std::uint8_t* const stride = bytes.data() + at;
        std::uint8_t all = 0xFF;
        for (std::size_t i = 0; i < Stride; ++i) {
            all = static_cast<std::uint8_t>(all & (isPassed(stride[i]) ? 0xFF : 0));
        }
        if (all == 0) {
            break;
        }
    }
    return at;
}

template <class IsPassed>
std::size_t EndOf(ByteSpan bytes, std::size_t from, IsPassed isPassed) {
    // A few vector registers, then one.
    std::size_t at = PassStrides<16>(bytes, PassStrides<64>(bytes, from, isPassed), isPassed);
    while (at < bytes.size() && isPassed(bytes[at])) {
        ++at;
    }
    return at;
}

}  // namespace

std::size_t EndOfPlain(ByteSpan bytes, std::size_t from) { return EndOf(bytes, from, IsPlainByte); }

std::size_t EndOfAnyText(ByteSpan bytes, std::size_t from) {
    return EndOf(bytes, from, [](std::uint8_t byte) { return !IsControlByte(byte); });
}

std::size_t Utf8Length(ByteSpan bytes, std::size_t at) {
    const std::uint8_t lead = bytes[at];
    if (lead < 0xC2 || lead > 0xF4) {
        return 0;
    }
    const std::size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    const std::size_t shown = std::min(length, bytes.size() - at);
    for (std::size_t i = 1; i < shown; ++i) {
        if ((bytes[at + i] & 0xC0) != 0x80) {
            return 0;
        }
    }
    if (shown > 1) {
        const std::uint8_t second = bytes[at + 1];
        const bool isOverlong = (lead == 0xE0 && second < 0xA0) || (lead == 0xF0 && second < 0x90);
        if (isOverlong || (lead == 0xED && second >= 0xA0) || (lead == 0xF4 && second >= 0x90)) {
            return 0;
        }
    }
    return shown;
}

std::size_t EndOfUtf8(ByteSpan bytes, std::size_t from) {
    std::size_t at = EndOfPlain(bytes, from);
    while (at < bytes.size() && bytes[at] >= 0x80) {
        const std::size_t length = Utf8Length(bytes, at);
        if (length == 0) {
            break;
        }
        at += length;
        // Letters beyond ASCII usually come several in a row.
        if (at < bytes.size() && bytes[at] < 0x80) {
            at = EndOfPlain(bytes, at);
        }
    }
    return at;
}

bool IsZeroFrom(ByteSpan bytes, std::size_t from) {
    return EndOf(bytes, std::min(from, bytes.size()), [](std::uint8_t byte) { return byte == 0; }) == bytes.size();
}

}  // namespace salvor
