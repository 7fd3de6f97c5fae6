#pragma once

#include <cstdint>
#include <vector>

#include "tests/support/Numbers.h"

namespace test {

/// An entry of a directory: its values in the width of the field type.
struct TiffField {
    std::uint16_t tag;
    std::uint16_t type;
    std::vector<std::uint32_t> values;
    /// Overrides the number of values; the first value is then their offset.
    std::uint32_t count = 0;
};

/// The field types by their usual names.
inline constexpr std::uint16_t TiffByte = 1;
inline constexpr std::uint16_t TiffAscii = 2;
inline constexpr std::uint16_t TiffShort = 3;
inline constexpr std::uint16_t TiffLong = 4;

/// Builds a file of the TIFF structure from front to back: what a directory points to is appended before it.
class TiffBuilder {
public:
    /// `afterHeader` stands between the header of 8 bytes and the rest.
    explicit TiffBuilder(bool bigEndian = false, const Bytes& afterHeader = {});

    /// Appends picture data or the like, at an even offset; gives the offset.
    std::uint32_t Append(const Bytes& data);

    /// Where the next directory begins if all its values are kept in it.
    std::uint32_t Next() const { return static_cast<std::uint32_t>(file_.size() + file_.size() % 2); }

    /// Appends a directory and, before it, the values that do not fit into an entry; gives its offset. Entries are
    /// written in the order given. It links to `next`; linking to it is left to the caller.
    std::uint32_t Add(const std::vector<TiffField>& fields, std::uint32_t next = 0);

    /// The same, linked from the directory chained before it, or from the header.
    std::uint32_t AppendDirectory(const std::vector<TiffField>& fields);

    const Bytes& File() const { return file_; }
    /// The file, with this link in the header.
    Bytes Finish(std::uint32_t first);

private:
    void Put(std::uint32_t value, std::size_t width) { PutNumber(file_, file_.size(), value, width, bigEndian_); }

    bool bigEndian_;
    Bytes file_;
    // Where the offset of the next chained directory goes.
    std::size_t link_ = 4;
};

}  // namespace test
