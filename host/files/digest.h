#pragma once

#include <openssl/evp.h>

#include <cstddef>
#include <memory>
#include <string>

namespace salvor {

/// A cryptographic digest of bytes that come piece by piece.
class Digest {
public:
    void Add(const void* data, std::size_t length);
    /// The digest in lower-case hexadecimal; ends the computation.
    std::string Hex();

protected:
    /// Throws `std::runtime_error` if the cryptographic library does not have it.
    explicit Digest(const EVP_MD* algorithm);

private:
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context_;
};

class Sha256 : public Digest {
public:
    Sha256() : Digest(EVP_sha256()) {}
};

/// No longer secure, but what E01 images keep.
class Sha1 : public Digest {
public:
    Sha1() : Digest(EVP_sha1()) {}
};

/// The same.
class Md5 : public Digest {
public:
    Md5() : Digest(EVP_md5()) {}
};

}  // namespace salvor
