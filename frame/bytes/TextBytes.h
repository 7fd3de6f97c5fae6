#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/bytes/Bytes.h"
#include "frame/bytes/PlaceSearch.h"

/// True for tab, line feed, carriage return and the bytes 0x20 to 0x7F.
constexpr bool IsTextByte(std::uint8_t byte) {
    // As signed numbers, bytes from 0x80 on are below the space. No short-circuit operators, so that searches
    // vectorise.
    const bool isPrinted = static_cast<std::int8_t>(byte) >= 0x20;
    return (static_cast<unsigned>(isPrinted) | static_cast<unsigned>(byte == '\r') |
            static_cast<unsigned>(byte == '\t') | static_cast<unsigned>(byte == '\n')) != 0;
}

/// How many bytes from the start on are text.
inline std::size_t CountTextBytes(ByteSpan bytes) {
    const auto isText = [](const std::uint8_t* place) {
        return static_cast<std::uint8_t>(IsTextByte(*place));
    };
    return FindPlace(bytes.data(), 0, bytes.size(), isText, [](std::size_t /*place*/) { return true; })
        .value_or(bytes.size());
}
