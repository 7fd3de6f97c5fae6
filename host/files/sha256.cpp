#include "host/files/sha256.h"

#include <fmt/format.h>

#include <array>
#include <stdexcept>

namespace salvor {

namespace {

void Require(bool done) {
    if (!done) {
        throw std::runtime_error("SHA-256 is not available in the cryptographic library");
    }
}

}  // namespace

Sha256::Sha256() : context_(EVP_MD_CTX_new(), &EVP_MD_CTX_free) {
    Require(context_ && EVP_DigestInit_ex(context_.get(), EVP_sha256(), nullptr) == 1);
}

void Sha256::Add(const void* data, std::size_t length) { Require(EVP_DigestUpdate(context_.get(), data, length) == 1); }

std::string Sha256::Hex() {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int length = 0;
    Require(EVP_DigestFinal_ex(context_.get(), digest.data(), &length) == 1);
    std::string text;
    for (unsigned int i = 0; i < length; ++i) {
        text += fmt::format("{:02x}", digest[i]);
    }
    return text;
}

}  // namespace salvor
