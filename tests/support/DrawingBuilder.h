#pragma once

#include <cstdint>
#include <string_view>

#include "tests/support/Numbers.h"

namespace test {

/// Drawings and pictures that no free program writes. What no rule reads is zeros or noise.

/// A drawing of the release that the text names. One of release 2000 has, in this order: the sections, the object map
/// to 200h, the second header to 240h, a last record to 244h and a preview to 2A4h.
Bytes DwgFile(std::string_view release);
/// An area with a whole JPEG of 1000 bytes, and a comment.
Bytes CamFile();
/// Attributes, a creator's block and layers.
Bytes PspFile(std::uint16_t majorVersion);
Bytes OciFile();
/// A scene with 32-bit or with 64-bit lengths: the head and two more groups, the last of 40 bytes and its header.
Bytes MbFile(bool isLong);
Bytes CdrFile();
/// A package whose second member has its size in a descriptor after the data, in two forms, or before them.
enum class ZipSizes { InHeader, InDescriptor, InBareDescriptor };
Bytes CdrPackage(ZipSizes sizes, std::string_view mediaType = "application/x-vnd.corel.draw.document+zip");
/// The heap holds `rawBytes` of noise and what looks like a root directory but for its place.
Bytes CrwFile(std::size_t rawBytes);
/// A picture of version 23 with a layer, an effect with a mask, and a path.
Bytes XcfWithEffects();

}  // namespace test
