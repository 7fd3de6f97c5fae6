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
};

/// A sector that a local header opens.
inline constexpr SectorFilter ZipLocalFilter = SectorFilterOf(PatternOf("PK\3\4"));

/// Bytes of the end-of-central-directory record without the comment.
inline constexpr std::size_t ZipEndRecordBytes = 22;
