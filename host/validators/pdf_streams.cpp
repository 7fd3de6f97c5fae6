#include "host/validators/pdf_streams.h"

#include <algorithm>
#include <optional>

#include "frame/bytes/BytePattern.h"
#include "host/validators/inflate.h"

namespace salvor {

namespace {

// Where the deflated data begin whose filter is named at `name`; nothing if they have another filter on the outside.
std::optional<std::int64_t> DataBehind(ByteWindow& file, std::int64_t name, std::int64_t size) {
    static constexpr BytePattern stream = BytePatternOf<"stream">();
    static constexpr BytePattern objectEnd = BytePatternOf<"endobj">();
    constexpr std::int64_t longestDictionary = 2048;
    static constexpr BytePattern outer = BytePatternOf<"Decode">();
    constexpr std::int64_t mostBefore = 12;
    const ByteSpan before =
        file.At(std::max<std::int64_t>(name - mostBefore, 0), static_cast<std::size_t>(std::min(name, mostBefore)));
    if (outer.FindIn(before)) {
        return std::nullopt;
    }
    const auto bytes = static_cast<std::size_t>(std::min(size - name, longestDictionary));
    const ByteSpan text = file.At(name, bytes);
    const std::optional<std::size_t> keyword = stream.FindIn(text);
    if (!keyword || objectEnd.FindIn(text).value_or(bytes) < *keyword) {
        return std::nullopt;
    }
    std::size_t at = *keyword + stream.size();
    at += at < bytes && text[at] == '\r' ? 1U : 0U;
    at += at < bytes && text[at] == '\n' ? 1U : 0U;
    // The method and the window's size, and their check.
    if (at + 2 > bytes || (text[at] & 0x0FU) != 8 || (text[at] * 256U + text[at + 1]) % 31 != 0) {
        return std::nullopt;
    }
    return name + static_cast<std::int64_t>(at);
}

}  // namespace

bool DoStreamsUnpack(ByteWindow& file, std::int64_t size) {
    static constexpr BytePattern encrypt = BytePatternOf<"/Encrypt">();
    static constexpr BytePattern filter = BytePatternOf<"/FlateDecode">();
    // In bytes: few pictures are packed better.
    constexpr std::int64_t mostUnpacked = std::int64_t{64} << 20U;
    constexpr std::int64_t leastUnpacked = std::int64_t{1} << 20U;
    constexpr std::int64_t times = 4;
    if (file.Find(encrypt, 0, size)) {
        return true;
    }
    std::int64_t left = std::clamp(std::min(size, mostUnpacked) * times, leastUnpacked, mostUnpacked);
    bool isAnyRight = false;
    bool isAnyBroken = false;
    std::int64_t at = 0;
    while (const std::optional<std::int64_t> name = file.Find(filter, at, size)) {
        at = *name + 1;
        const std::optional<std::int64_t> data = DataBehind(file, *name, size);
        if (!data) {
            continue;
        }
        // More than one piece of what a stream unpacks to.
        constexpr std::int64_t spare = std::int64_t{1} << 20U;
        std::int64_t unpacked = 0;
        const auto result = InflateAt(file, *data, size, DeflateFormat::Zlib, left + spare,
                                      [&unpacked](ByteSpan bytes) { unpacked += std::ssize(bytes); });
        left -= unpacked;
        if (left <= 0 || file.IsExhausted()) {
            break;
        }
        isAnyRight = isAnyRight || result;
        isAnyBroken = isAnyBroken || !result;
        at = result ? *data + result->packedSize : *data;
    }
    return !isAnyBroken || !isAnyRight;
}

}  // namespace salvor
