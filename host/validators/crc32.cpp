#include "host/validators/crc32.h"

#include <zlib.h>

#include <algorithm>

namespace salvor {

namespace {

std::uint32_t GoOn(std::uint32_t crc, ByteSpan bytes) {
    return static_cast<std::uint32_t>(crc32(crc, bytes.data(), static_cast<uInt>(bytes.size())));
}

std::optional<std::uint32_t> GoOn(std::uint32_t crc, ByteWindow& file, std::int64_t from, std::int64_t to) {
    while (from < to) {
        ByteSpan bytes = file.From(from);
        if (bytes.empty()) {
            return std::nullopt;
        }
        bytes = bytes.first(std::min(bytes.size(), static_cast<std::size_t>(to - from)));
        crc = GoOn(crc, bytes);
        from += static_cast<std::int64_t>(bytes.size());
    }
    return crc;
}

}  // namespace

std::uint32_t Crc32Of(ByteSpan bytes) { return bytes.empty() ? 0 : GoOn(0, bytes); }

std::optional<std::uint32_t> Crc32Of(ByteWindow& file, std::int64_t from, std::int64_t to) {
    return GoOn(0, file, from, to);
}

// zlib inverts before and after; inverting again undoes both.
std::uint32_t PlainCrc32Of(ByteSpan bytes) { return bytes.empty() ? 0 : ~GoOn(~std::uint32_t{0}, bytes); }

std::optional<std::uint32_t> PlainCrc32Of(ByteWindow& file, std::int64_t from, std::int64_t to) {
    const std::optional<std::uint32_t> crc = GoOn(~std::uint32_t{0}, file, from, to);
    return crc ? std::optional(~*crc) : std::nullopt;
}

}  // namespace salvor
