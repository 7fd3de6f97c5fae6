#pragma once

#include <cstdint>
#include <vector>

#include "tests/support/Medium.h"

namespace test {

/// An entry of a directory: its values in the width of the field type.
struct TiffField {
    std::uint16_t tag;
    std::uint16_t type;
    std::vector<std::uint32_t> values;
};

/// The field types by their usual names.
inline constexpr std::uint16_t TiffByte = 1;
inline constexpr std::uint16_t TiffAscii = 2;
inline constexpr std::uint16_t TiffShort = 3;
inline constexpr std::uint16_t TiffLong = 4;

/// Builds a file of the TIFF structure from front to back: what a directory points to is appended before it.
class TiffBuilder {
public:
    /// `behindHeader` stands between the header of 8 bytes and the rest.
    explicit TiffBuilder(bool bigEndian = false, const Bytes& behindHeader = {});

    /// Appends picture data or the like, at an even offset; gives the offset.
    std::uint32_t Append(const Bytes& data);

    /// Appends a directory and, in front of it, the values that do not fit into an entry; gives its offset. Entries are
    /// written in the order given. A chained directory is linked from the chained one before it, or from the header;
    /// one that is not is for a field that names its offset, such as SubIFDs.
    std::uint32_t AppendDirectory(const std::vector<TiffField>& fields, bool isChained = true);

    const Bytes& File() const { return file_; }

private:
    void Put(std::uint32_t value, std::size_t width);
    void PutAt(std::size_t offset, std::uint32_t value, std::size_t width);

    bool bigEndian_;
    Bytes file_;
    // Where the offset of the next chained directory goes.
    std::size_t link_ = 4;
};

}  // namespace test
