#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/medium/extent.h"

namespace salvor {

/// Seconds since 1970.
struct FileTimes {
    std::optional<std::int64_t> modified;
    std::optional<std::int64_t> accessed;
    std::optional<std::int64_t> changed;
    std::optional<std::int64_t> created;
    std::optional<std::int64_t> deleted;
    bool operator==(const FileTimes&) const = default;
};

/// The times, by their names in records.
inline constexpr std::array<std::pair<const char*, std::optional<std::int64_t> FileTimes::*>, 5> TimeFields{{
    {"modified", &FileTimes::modified},
    {"accessed", &FileTimes::accessed},
    {"changed", &FileTimes::changed},
    {"created", &FileTimes::created},
    {"removed", &FileTimes::deleted},
}};

/// What a file system knows about a file, from a directory entry, an MFT record or an inode.
struct KnownFile {
    /// The number of its volume.
    std::int32_t volume = 0;
    /// From the volume's root, with '/' between names; unchanged, so any bytes but zero are possible. A further stream
    /// of an NTFS file has its name at the end, after ':'. Empty if no name is left.
    std::string path;
    /// In bytes.
    std::int64_t size = 0;
    bool isDeleted = false;
    /// The extents were guessed from the start: the file system has lost the others.
    bool isGuess = false;
    /// Compressed or encrypted: the extents do not hold the file's own bytes, and are never complete.
    bool isPacked = false;
    /// The extents cover the whole file.
    bool isComplete = false;
    /// Nothing but the extents is known, from pointers to blocks; the size is that of all blocks.
    bool isRebuilt = false;
    /// The times are local, in an unknown time zone.
    bool timesAreLocal = false;
    FileTimes times;
    /// In the file's order; at least one, on the medium.
    std::vector<Extent> extents;
    bool operator==(const KnownFile&) const = default;

    std::int64_t StartSector() const { return extents.front().startSector; }
};

}  // namespace salvor
