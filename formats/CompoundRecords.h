#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/bytes/Bytes.h"

/// The records that compound files are made of. Source: [MS-CFB], Compound File Binary File Format, sections 2.1
/// to 2.6.

inline constexpr auto CompoundSignature = PatternOf("\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1");

/// The header: its length and the offsets of its fields.
struct CompoundHeader {
    static constexpr std::size_t Bytes = 512;
    static constexpr std::size_t MinorVersion = 24;
    static constexpr std::size_t MajorVersion = 26;
    static constexpr std::size_t ByteOrder = 28;
    static constexpr std::size_t SectorShift = 30;
    static constexpr std::size_t MiniSectorShift = 32;
    static constexpr std::size_t FatSectorCount = 44;
    static constexpr std::size_t FirstDirectorySector = 48;
    static constexpr std::size_t MiniStreamCutoff = 56;
    static constexpr std::size_t FirstMiniFatSector = 60;
    static constexpr std::size_t MiniFatSectorCount = 64;
    static constexpr std::size_t FirstDifatSector = 68;
    static constexpr std::size_t DifatSectorCount = 72;
    /// The first of the DIFAT's words, which fill the rest of the header.
    static constexpr std::size_t FirstDifatWord = 76;
};

/// An entry of the directory: its length and the offsets of its fields.
struct CompoundDirectoryEntry {
    static constexpr std::size_t Bytes = 128;
    static constexpr std::size_t NameUnits = 32;
    /// Length in bytes of the name at the entry's start, with its terminator.
    static constexpr std::size_t NameBytes = 64;
    static constexpr std::size_t ObjectType = 66;
    static constexpr std::size_t ColourFlag = 67;
    static constexpr std::size_t LeftSibling = 68;
    static constexpr std::size_t RightSibling = 72;
    static constexpr std::size_t Child = 76;
    static constexpr std::size_t ClassId = 80;
    static constexpr std::size_t StartingSector = 116;
    /// 64 bits, of which version 3 may leave the upper half undefined.
    static constexpr std::size_t StreamSize = 120;
};

/// Marks that stand in the allocation tables in place of sector numbers.
struct CompoundSectorMark {
    static constexpr std::uint32_t Difat = 0xFFFFFFFC;
    static constexpr std::uint32_t Fat = 0xFFFFFFFD;
    static constexpr std::uint32_t EndOfChain = 0xFFFFFFFE;
    static constexpr std::uint32_t Free = 0xFFFFFFFF;
};
