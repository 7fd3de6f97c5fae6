#include "host/records/base64.h"

#include <openssl/evp.h>

#include <algorithm>

namespace salvor {

std::string ToBase64(std::span<const std::uint8_t> bytes) {
    // The encoder appends a zero.
    std::vector<unsigned char> text((bytes.size() + 2) / 3 * 4 + 1);
    const int length = EVP_EncodeBlock(text.data(), bytes.data(), static_cast<int>(bytes.size()));
    return {text.begin(), text.begin() + length};
}

std::vector<std::uint8_t> FromBase64(std::string_view text) {
    std::vector<std::uint8_t> bytes(text.size() / 4 * 3);
    const std::vector<unsigned char> coded(text.begin(), text.end());
    if (text.size() % 4 != 0 || EVP_DecodeBlock(bytes.data(), coded.data(), static_cast<int>(coded.size())) < 0) {
        return {};
    }
    // Padding is decoded as zeros.
    const auto filled =
        static_cast<std::size_t>(std::ranges::count(text.substr(std::max<std::size_t>(text.size(), 2) - 2), '='));
    bytes.resize(bytes.size() - std::min(bytes.size(), filled));
    return bytes;
}

}  // namespace salvor
