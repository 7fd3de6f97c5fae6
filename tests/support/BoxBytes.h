#pragma once

#include <cstdint>

#include "tests/support/Numbers.h"

/// Boxes of the ISO base media family.
namespace test::box {

inline Bytes Header(std::uint32_t size, const char* type) { return Join({Big(size, 4), BytesOf(type)}); }
inline Bytes LongHeader(std::uint64_t size, const char* type) { return Join({Header(1, type), Big(size, 8)}); }
inline Bytes Box(std::uint32_t size, const char* type) { return Join({Header(size, type), Zeros(size - 8)}); }

}  // namespace test::box
