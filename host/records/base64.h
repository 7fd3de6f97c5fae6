#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace salvor {

/// Bytes as base64 text (RFC 4648), padded with '='.
std::string ToBase64(std::span<const std::uint8_t> bytes);

/// The bytes of such a text; none if it is not base64.
std::vector<std::uint8_t> FromBase64(std::string_view text);

}  // namespace salvor
