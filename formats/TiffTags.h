#pragma once

#include <cstdint>

/// The tags of TIFF directories that scanners and the program look at. Sources: Adobe, TIFF Revision 6.0; Adobe, DNG
/// Specification; CIPA DC-008 (Exif).
namespace TiffTag {
inline constexpr std::uint16_t ImageWidth = 256;
inline constexpr std::uint16_t ImageLength = 257;
inline constexpr std::uint16_t BitsPerSample = 258;
inline constexpr std::uint16_t Compression = 259;
inline constexpr std::uint16_t Photometric = 262;
inline constexpr std::uint16_t DocumentName = 269;
inline constexpr std::uint16_t ImageDescription = 270;
inline constexpr std::uint16_t Make = 271;
inline constexpr std::uint16_t Model = 272;
inline constexpr std::uint16_t StripOffsets = 273;
inline constexpr std::uint16_t SamplesPerPixel = 277;
inline constexpr std::uint16_t RowsPerStrip = 278;
inline constexpr std::uint16_t StripByteCounts = 279;
/// Panasonic's own; its strip offsets do not say where the strip is.
inline constexpr std::uint16_t RawDataOffset = 280;
inline constexpr std::uint16_t PlanarConfiguration = 284;
inline constexpr std::uint16_t Software = 305;
inline constexpr std::uint16_t DateTime = 306;
inline constexpr std::uint16_t TileOffsets = 324;
inline constexpr std::uint16_t TileByteCounts = 325;
inline constexpr std::uint16_t SubDirectories = 330;
inline constexpr std::uint16_t JpegOffset = 513;
inline constexpr std::uint16_t JpegLength = 514;
/// Adobe's metadata, as XML.
inline constexpr std::uint16_t MetadataPacket = 700;
/// In Sony's private directory.
inline constexpr std::uint16_t EncryptedOffset = 0x7200;
inline constexpr std::uint16_t EncryptedLength = 0x7201;
inline constexpr std::uint16_t PhotoshopResources = 34377;
inline constexpr std::uint16_t ExifDirectory = 34665;
inline constexpr std::uint16_t GpsDirectory = 34853;
inline constexpr std::uint16_t InteroperabilityDirectory = 40965;
inline constexpr std::uint16_t DngVersion = 50706;
/// In DNG; Sony's files name their private directory here.
inline constexpr std::uint16_t PrivateData = 50740;
}  // namespace TiffTag

/// The types of a directory's values.
namespace TiffType {
inline constexpr std::uint16_t Byte = 1;
inline constexpr std::uint16_t Ascii = 2;
inline constexpr std::uint16_t Short = 3;
inline constexpr std::uint16_t Long = 4;
inline constexpr std::uint16_t SignedByte = 6;
inline constexpr std::uint16_t SignedShort = 8;
inline constexpr std::uint16_t SignedLong = 9;
inline constexpr std::uint16_t Float = 11;
inline constexpr std::uint16_t Directory = 13;
// Only in BigTIFF.
inline constexpr std::uint16_t Long8 = 16;
inline constexpr std::uint16_t Directory8 = 18;
}  // namespace TiffType
