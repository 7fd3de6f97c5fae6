#pragma once

#include <openssl/evp.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

namespace salvor {

/// A cryptographic digest of bytes that arrive piece by piece.
class Digest {
public:
    void Add(const void* data, std::size_t length);
    /// The digest in lower-case hexadecimal; ends the computation.
    std::string Hex();
    /// The digest of the bytes so far; more may follow.
    std::string HexSoFar() const;

protected:
    /// Throws `std::runtime_error` if the cryptographic library lacks the algorithm.
    explicit Digest(const EVP_MD* algorithm);

private:
    using Context = std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)>;

    Context context_;
};

class Sha256 : public Digest {
public:
    Sha256() : Digest(EVP_sha256()) {}
};

/// No longer secure, but stored in E01 images.
class Sha1 : public Digest {
public:
    Sha1() : Digest(EVP_sha1()) {}
};

/// Likewise.
class Md5 : public Digest {
public:
    Md5() : Digest(EVP_md5()) {}
};

/// Which digests are made of a file.
struct HashKinds {
    bool md5 = false;
    bool sha1 = false;
    bool sha256 = false;

    bool Any() const { return md5 || sha1 || sha256; }
};

/// In lower-case hexadecimal; empty for a kind that was not made.
struct FileHashes {
    std::string md5;
    std::string sha1;
    std::string sha256;
};

/// Several digests of the same bytes.
class FileDigest {
public:
    explicit FileDigest(const HashKinds& kinds);
    void Add(const void* data, std::size_t length);
    /// Ends the computation.
    FileHashes Hashes();
    /// The digest of the bytes so far; more may follow. It must be among the kinds.
    std::string Sha256SoFar() const { return sha256_->HexSoFar(); }

private:
    std::optional<Md5> md5_;
    std::optional<Sha1> sha1_;
    std::optional<Sha256> sha256_;
};

}  // namespace salvor
