#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "TestFiles.h"
#include "byte_order.h"

namespace salvor::test {

/// A field of a directory. Its values are kept in the directory if they fit there, else in front of it.
struct TiffField {
    std::uint16_t tag;
    std::uint16_t type;
    std::vector<std::uint32_t> values;
    /// In place of the number of values; then the first value is where they stand.
    std::uint32_t count = 0;
};

inline constexpr std::uint16_t Short = 3;
inline constexpr std::uint16_t Long = 4;
inline constexpr std::uint16_t Undefined = 7;
inline constexpr std::uint16_t DirectoryType = 13;

/// Puts a number of `width` bytes at a place of the bytes, which grow if need be.
void PutNumber(Bytes& bytes, std::size_t place, std::uint32_t value, std::size_t width, ByteOrder order);

/// Writes the directories of a TIFF one behind the other; what they point to need not be there.
class TiffBuilder {
public:
    explicit TiffBuilder(ByteOrder order);
    /// Where the directory begins.
    std::uint32_t Add(const std::vector<TiffField>& fields, std::uint32_t next = 0);
    /// Where the next directory begins if all its values are kept in it.
    std::uint32_t Next() const { return static_cast<std::uint32_t>(bytes_.size()); }
    /// The header's link.
    Bytes Finish(std::uint32_t first);

private:
    void Append(std::uint32_t value, std::size_t width) { PutNumber(bytes_, bytes_.size(), value, width, order_); }

    ByteOrder order_;
    Bytes bytes_;
};

}  // namespace salvor::test
