#include "host/records/digest.h"

#include <fmt/format.h>

#include <array>
#include <stdexcept>

namespace salvor {

namespace {

void Require(bool done) {
    if (!done) {
        throw std::runtime_error("a digest is not available in the cryptographic library");
    }
}

std::string EndOf(EVP_MD_CTX* context) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int length = 0;
    Require(EVP_DigestFinal_ex(context, digest.data(), &length) == 1);
    std::string text;
    for (unsigned int i = 0; i < length; ++i) {
        text += fmt::format("{:02x}", digest[i]);
    }
    return text;
}

}  // namespace

Digest::Digest(const EVP_MD* algorithm) : context_(EVP_MD_CTX_new(), &EVP_MD_CTX_free) {
    Require(context_ && EVP_DigestInit_ex(context_.get(), algorithm, nullptr) == 1);
}

void Digest::Add(const void* data, std::size_t length) { Require(EVP_DigestUpdate(context_.get(), data, length) == 1); }

std::string Digest::Hex() { return EndOf(context_.get()); }

std::string Digest::HexSoFar() const {
    const Context copy(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
    Require(copy && EVP_MD_CTX_copy_ex(copy.get(), context_.get()) == 1);
    return EndOf(copy.get());
}

FileDigest::FileDigest(const HashKinds& kinds) {
    if (kinds.md5) {
        md5_.emplace();
    }
    if (kinds.sha1) {
        sha1_.emplace();
    }
    if (kinds.sha256) {
        sha256_.emplace();
    }
}

void FileDigest::Add(const void* data, std::size_t length) {
    const auto add = [&](auto& digest) {
        if (digest) {
            digest->Add(data, length);
        }
    };
    add(md5_);
    add(sha1_);
    add(sha256_);
}

FileHashes FileDigest::Hashes() {
    const auto hex = [](auto& digest) {
        return digest ? digest->Hex() : std::string();
    };
    return {hex(md5_), hex(sha1_), hex(sha256_)};
}

}  // namespace salvor
