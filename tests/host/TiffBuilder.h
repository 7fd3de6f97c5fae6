#pragma once

#include "host/validate/byte_order.h"
#include "tests/support/TiffBuilder.h"

namespace salvor::test {

using ::test::PutNumber;
using ::test::TiffField;

inline constexpr std::uint16_t Short = ::test::TiffShort;
inline constexpr std::uint16_t Long = ::test::TiffLong;
inline constexpr std::uint16_t Undefined = 7;
inline constexpr std::uint16_t DirectoryType = 13;

class TiffBuilder : public ::test::TiffBuilder {
public:
    explicit TiffBuilder(ByteOrder order) : ::test::TiffBuilder(order == ByteOrder::Big) {}
};

}  // namespace salvor::test
