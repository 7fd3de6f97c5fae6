#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "frame/bytes/ByteWindow.h"
#include "frame/bytes/Bytes.h"

namespace salvor {

using Guid = Pattern<16>;

/// What an ASF file begins with, and the object in it that tells when the file was made. Source: Microsoft, Advanced
/// Systems Format Specification, 10.1 and 10.2.
inline constexpr Guid AsfHeaderObject = PatternOf("\x30\x26\xB2\x75\x8E\x66\xCF\x11\xA6\xD9\x00\xAA\x00\x62\xCE\x6C");
inline constexpr Guid AsfFileProperties = PatternOf("\xA1\xDC\xAB\x8C\x47\xA9\xCF\x11\x8E\xE4\x00\xC0\x0C\x20\x53\x65");

/// The bytes of the header object before the objects in it.
inline constexpr std::int64_t AsfHeaderStartBytes = 30;

struct AsfObject {
    Guid guid;
    /// In bytes, with the 24 of this head.
    std::uint64_t size;
};

/// The object at an offset; nothing if it cannot be read.
inline std::optional<AsfObject> ReadAsfObject(ByteWindow& file, std::int64_t offset) {
    const ByteSpan bytes = file.At(offset, sizeof(Guid) + sizeof(std::uint64_t));
    if (bytes.empty()) {
        return std::nullopt;
    }
    AsfObject object{};
    std::copy_n(bytes.begin(), object.guid.size(), object.guid.begin());
    object.size = LoadLittle<std::uint64_t>(bytes, object.guid.size());
    return object;
}

}  // namespace salvor
