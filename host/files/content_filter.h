#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/files/digest.h"

namespace salvor {

/// Hashes of files that nobody needs again. Tens of millions of them take 16 bytes each: of a longer digest the first
/// 128 bits stand for all.
class HashList {
public:
    /// Adds those of a file: one a line in hexadecimal, whatever follows it; or NSRL's text, CSV with a line of names.
    /// What each line has may be an MD5, a SHA-1 or a SHA-256. Throws `Failure` when the file cannot be read or holds
    /// none; lines without a hash are told to the person.
    void Add(const std::string& path);

    /// What has to be made of a file to look it up.
    HashKinds Kinds() const;
    bool Contains(const FileHashes& hashes) const;

private:
    using Key = std::array<std::uint8_t, 16>;

    static std::optional<Key> KeyOf(std::string_view hex);
    bool AddLine(std::string_view text);
    void SortAll();

    // By the digest's length in hexadecimal: 32, 40 and 64 digits. Ascending but for a tail that is being read.
    std::array<std::vector<Key>, 3> keys_;
};

/// What is left out for the bytes that it holds.
struct ContentFilter {
    /// One file of those with the same bytes.
    bool unique = false;
    HashList known;

    bool IsEmpty() const { return !unique && !known.Kinds().Any(); }
};

inline constexpr const char* KnownFileReason = "known by its hash";
inline constexpr const char* SameBytesReason = "the same bytes as another file";

/// Finds files with the same bytes among those that it is shown one after the other.
class SameBytes {
public:
    /// The number of an earlier file with this SHA-256; else the file is kept under its own.
    std::optional<std::size_t> EarlierOf(const std::string& sha256, std::size_t number);

private:
    std::unordered_map<std::string, std::size_t> numbers_;
};

}  // namespace salvor
