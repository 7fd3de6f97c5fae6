#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "frame/bytes/ByteWindow.h"
#include "frame/bytes/Endian.h"

/// All that the directories of a TIFF file, or of a camera raw built like one, tell about its extent and its kind.
/// Sources: Adobe, TIFF Revision 6.0, section 2; the BigTIFF design of AWare Systems for offsets of 64 bits.
struct TiffFile {
    enum class Kind : std::uint8_t {
        /// The file's own structure.
        Directory,
        /// What an entry points to.
        Value,
        /// Strips, tiles and JPEGs.
        Picture,
    };
    struct Extent {
        std::int64_t start;
        std::int64_t length;
        Kind kind;
        /// How a picture is compressed.
        std::uint16_t compression;

        std::int64_t End() const { return start + length; }
    };
    /// In the order of the walk, none empty; all but `Picture` begin on the medium.
    std::vector<Extent> extents = {};

    /// A directory that another one names is not one, or lies beyond the limit.
    bool missesDirectory = false;
    bool isDng = false;
    bool hasPhotoshopResources = false;
    /// Its metadata say that ExifTool or Exiv2 wrote them. Both lay out the whole file anew and pad each picture to
    /// even length.
    bool isLaidOutAnew = false;
    /// A directory has the photometric interpretation or the compression of a sensor's own data.
    bool hasSensorData = false;
    /// From the first directory.
    std::string make = {};
    std::string model = {};
};

/// Bytes of the longest header, that of BigTIFF.
inline constexpr std::size_t TiffHeaderBytes = 16;

/// The byte order, if `head` begins with a TIFF header: 42, 43, or the letters that cameras of one maker write in place
/// of the number. Nothing for other bytes.
std::optional<Endian> TiffEndianOf(ByteSpan head);

/// Walks all directories that the header leads to, each once. Nothing if the first is not a directory.
std::optional<TiffFile> WalkTiff(ByteWindow& file);
