#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "frame/bytes/Endian.h"
#include "tests/support/Numbers.h"

namespace test {

/// The number's lowest `width` bytes.
inline Bytes NumberOf(std::uint64_t value, std::size_t width, Endian endian = Endian::Little) {
    return endian == Endian::Big ? Big(value, width) : Little(value, width);
}

/// Documents that no free program writes. What no rule reads is zeros or noise.

/// A revision store of 5000 bytes.
Bytes OneSection();
/// A packaged store of 1517 bytes with every form of an object's start and end; without padding.
Bytes OnePackage();

/// A document of 20 blocks of 256 bytes. The chain begins at block 3, in version 42h at block 4, goes through a big
/// block of four, and ends with the file.
Bytes QuarkDocument(std::uint8_t version, Endian endian, std::string_view letters);
/// A project of 12 blocks of 1024 bytes with four chains: the table (2), small blocks (3 and 5), a small block and a
/// big one of three (4; 10 to 12), and a small one (6).
Bytes QuarkProject(Endian endian, std::string_view letters);

/// The version, a header group, 20 records of 50 bytes from byte 42 on, and the end, at byte 1044.
Bytes SmartDrawing();

/// A header with an index, and 900 bytes of text and functions from byte 100 on.
Bytes WordPerfect5();
/// A header with the length, 1500; or, without `hasLength`, one of the first programs of release 6.
Bytes WordPerfect6(bool hasLength);
Bytes WordPerfectMacintosh(Endian endian);

}  // namespace test
