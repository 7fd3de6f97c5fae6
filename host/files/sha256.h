#pragma once

#include <openssl/evp.h>

#include <cstddef>
#include <memory>
#include <string>

namespace salvor {

/// SHA-256 of bytes that come piece by piece.
class Sha256 {
public:
    Sha256();
    void Add(const void* data, std::size_t length);
    /// The digest in lower-case hexadecimal; ends the computation.
    std::string Hex();

private:
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context_;
};

}  // namespace salvor
