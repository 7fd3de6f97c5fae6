#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "frame/bytes/Bytes.h"
#include "frame/bytes/PlaceSearch.h"

/// Canon's raws from before CR2: a header, then a heap of values and after them the directory that lists them. A value
/// may be a heap itself, with its own directory at its end. A directory is a count, the entries, and its own offset in
/// its heap. Source: Canon, CIFF Specification on Image Data File, version 1.0.
struct CanonHeap {
    /// Byte order, the heap's start, and the type of the container.
    static constexpr auto Signature = PatternOf("II\x1A\0\0\0HEAPCCDR");
    /// Of the outer heap, in bytes from the file's start.
    static constexpr std::int64_t Start = 0x1A;

    static constexpr std::size_t CountBytes = 2;
    static constexpr std::size_t EntryBytes = 10;
    static constexpr std::size_t OwnOffsetBytes = 4;
    static constexpr std::size_t DirectoryBytes(std::size_t entries) {
        return CountBytes + entries * EntryBytes + OwnOffsetBytes;
    }
    /// Of an outer directory.
    static constexpr std::size_t FewestEntries = 2;
    static constexpr std::size_t MostEntries = 32;
    static constexpr std::size_t MostDirectoryBytes = CountBytes + MostEntries * EntryBytes + OwnOffsetBytes;

    struct Entry {
        std::uint16_t tag;
        std::uint32_t size;
        /// Counts from the heap's start.
        std::uint32_t offset;

        /// Else the value stands in the entry, in the place of `size` and `offset`.
        bool IsInHeap() const { return (tag & 0xC000U) == 0; }
        bool IsHeap() const { return (tag & 0x3800U) == 0x2800 || (tag & 0x3800U) == 0x3000; }
    };
    static Entry EntryAt(ByteSpan entries, std::size_t at) {
        return {LoadLittle<std::uint16_t>(entries, at), LoadLittle<std::uint32_t>(entries, at + 2),
                LoadLittle<std::uint32_t>(entries, at + 6)};
    }

    /// What a directory lists.
    struct Contents {
        /// The sensor's data, or the picture as a JPEG.
        bool hasPicture = false;
        bool hasThumbnail = false;
        /// The heap of the camera's settings.
        bool hasProperties = false;
    };
    /// `entries` are all of a directory, `MostEntries` at most. Nothing if their values overlap or do not lie in the
    /// heap's first `heapBytes`.
    static std::optional<Contents> ContentsOf(ByteSpan entries, std::uint64_t heapBytes);

    /// A directory's place in the bytes that were searched.
    struct Found {
        std::size_t offset;
        std::size_t end;
    };
    /// The outer directory in `bytes`, which begin at `start` in the file. `accepts(Contents)` has the last word, and
    /// `charge()` is called for each place that is looked at closely; these are few in a picture.
    template <class Accepts, class Charge>
    static std::optional<Found> FindRoot(ByteSpan bytes, std::int64_t start, Accepts accepts, Charge charge) {
        if (bytes.size() < DirectoryBytes(FewestEntries)) {
            return std::nullopt;
        }
        const auto entriesAt = [bytes](std::size_t place) {
            return std::size_t{LoadLittle<std::uint16_t>(bytes, place)};
        };
        const auto difference = [](const std::uint8_t* place) {
            return static_cast<std::uint8_t>(place[1] | (place[0] < FewestEntries ? 1 : 0) |
                                             (place[0] > MostEntries ? 1 : 0));
        };
        const auto isRoot = [&](std::size_t place) {
            charge();
            const std::int64_t offset = start + static_cast<std::int64_t>(place) - Start;
            const std::size_t entriesBytes = entriesAt(place) * EntryBytes;
            if (offset <= 0 || place + DirectoryBytes(entriesAt(place)) > bytes.size() ||
                LoadLittle<std::uint32_t>(bytes, place + CountBytes + entriesBytes) != offset) {
                return false;
            }
            const std::optional<Contents> contents =
                ContentsOf(bytes.subspan(place + CountBytes, entriesBytes), static_cast<std::uint64_t>(offset));
            return contents && accepts(*contents);
        };
        const std::size_t lastPlace = bytes.size() - DirectoryBytes(FewestEntries);
        const std::optional<std::size_t> root = FindPlace(bytes.data(), 0, lastPlace + 1, difference, isRoot);
        return root ? std::optional(Found{*root, *root + DirectoryBytes(entriesAt(*root))}) : std::nullopt;
    }
};
