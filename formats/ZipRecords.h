#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/bytes/SectorFilter.h"

/// The records that ZIP archives are made of. Source: PKWARE, APPNOTE.TXT, sections 4.3.6 to 4.3.16.

/// Signatures of the records, read little-endian.
struct ZipSignature {
    static constexpr std::uint32_t LocalHeader = 0x04034B50;
    static constexpr std::uint32_t CentralHeader = 0x02014B50;
    static constexpr std::uint32_t EndOfDirectory = 0x06054B50;
    static constexpr std::uint32_t DataDescriptor = 0x08074B50;
    /// Precedes an encrypted directory.
    static constexpr std::uint32_t ArchiveExtraData = 0x08064B50;
    static constexpr std::uint32_t DigitalSignature = 0x05054B50;
    static constexpr std::uint32_t LongEnd = 0x06064B50;
    static constexpr std::uint32_t LongEndLocator = 0x07064B50;
};

/// A local header without the name and the extra field after it, and the offsets of its fields.
struct ZipLocalHeader {
    static constexpr std::size_t Bytes = 30;
    static constexpr std::size_t Flags = 6;
    static constexpr std::size_t Method = 8;
    static constexpr std::size_t Crc = 14;
    static constexpr std::size_t CompressedSize = 18;
    static constexpr std::size_t NameLength = 26;
    static constexpr std::size_t ExtraLength = 28;
};

/// A central header without name, extra field and comment.
struct ZipCentralHeader {
    static constexpr std::size_t Bytes = 46;
    static constexpr std::size_t Flags = 8;
    static constexpr std::size_t Method = 10;
    static constexpr std::size_t Crc = 16;
    static constexpr std::size_t CompressedSize = 20;
    static constexpr std::size_t Size = 24;
    static constexpr std::size_t NameLength = 28;
    static constexpr std::size_t ExtraLength = 30;
    static constexpr std::size_t CommentLength = 32;
    static constexpr std::size_t LocalOffset = 42;
};

/// The end-of-central-directory record without the comment.
struct ZipEndRecord {
    static constexpr std::size_t Bytes = 22;
    static constexpr std::size_t Entries = 10;
    static constexpr std::size_t DirectorySize = 12;
    static constexpr std::size_t DirectoryOffset = 16;
    static constexpr std::size_t CommentLength = 20;
};

/// Its larger sibling, for numbers that do not fit, and what leads there from the end record after it.
struct ZipLongEnd {
    static constexpr std::size_t Bytes = 56;
    static constexpr std::size_t RecordSize = 4;
    static constexpr std::size_t Entries = 32;
    static constexpr std::size_t DirectorySize = 40;
    static constexpr std::size_t DirectoryOffset = 48;
    static constexpr std::size_t LocatorBytes = 20;
};

/// Bits of the flags.
inline constexpr std::uint16_t ZipIsEncrypted = 0x0001;
inline constexpr std::uint16_t ZipHasEncryptedDirectory = 0x2000;
inline constexpr std::uint16_t ZipHasDescriptor = 0x0008;

inline constexpr std::uint16_t ZipStored = 0;
inline constexpr std::uint16_t ZipDeflated = 8;

/// A sector that a local header opens.
inline constexpr SectorFilter ZipLocalFilter = SectorFilterOf(PatternOf("PK\3\4"));
