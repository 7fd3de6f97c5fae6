#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace salvor {

/// Bytes as text of RFC 4648, filled up with '='.
std::string ToBase64(std::span<const std::uint8_t> bytes);

/// The bytes of such a text; none if it is something else.
std::vector<std::uint8_t> FromBase64(std::string_view text);

}  // namespace salvor
