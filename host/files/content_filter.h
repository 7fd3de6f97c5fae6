#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/records/digest.h"

namespace salvor {

/// Hashes of files that need not be recovered. There may be tens of millions, so each takes 16 bytes: longer digests
/// are truncated to 128 bits.
class HashList {
public:
    /// Adds the MD5, SHA-1 or SHA-256 hashes in a file: one at the start of each line in hexadecimal, or NSRL text, CSV
    /// with a line of field names. Tells the user how many lines have none. Throws `Failure` when the file cannot be
    /// read or has no hash at all.
    void Add(const std::string& path);

    /// Which digests a lookup needs.
    HashKinds Kinds() const;
    bool Contains(const FileHashes& hashes) const;

private:
    using Key = std::array<std::uint8_t, 16>;

    static std::optional<Key> KeyOf(std::string_view hex);
    bool AddLine(std::string_view text);
    void SortAll();

    // By the digest's length in hexadecimal: 32, 40 and 64 digits. Ascending except for a tail that is being read.
    std::array<std::vector<Key>, 3> keys_;
};

/// Filters that need a file's bytes.
struct ContentFilter {
    /// Keep one file of those with the same bytes.
    bool unique = false;
    HashList known;

    bool IsEmpty() const { return !unique && !known.Kinds().Any(); }
};

inline constexpr const char* KnownFileReason = "known by its hash";
inline constexpr const char* SameBytesReason = "the same bytes as another file";

/// Finds files with the same bytes.
class SameBytes {
public:
    /// The number of an earlier file with this SHA-256; if there is none, this file is noted under its own number.
    std::optional<std::size_t> EarlierOf(const std::string& sha256, std::size_t number);

private:
    std::unordered_map<std::string, std::size_t> numbers_;
};

}  // namespace salvor
