#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "formats/BoxWalk.h"
#include "frame/bytes/ByteWindow.h"

namespace salvor {

/// A box of the ISO base media family, or an atom of QuickTime. Offsets in bytes from the file's start.
struct Box {
    /// As `BoxTypeOf` makes it.
    std::uint32_t type = 0;
    std::int64_t start = 0;
    /// The offset of its content.
    std::int64_t content = 0;
    /// Its end, even if beyond the file; 0 for a box that reaches to the end of the file.
    std::int64_t end = 0;
};

/// The box whose header is at `offset`. Nothing if its type is not printable, or if its size is smaller than the
/// header.
std::optional<Box> ReadBox(ByteWindow& file, std::int64_t offset);

/// Passes the consecutive boxes between two offsets to `visit`, up to the first one that it refuses. False if they do
/// not fill the range or one was refused; up to 8 bytes may remain at the end.
bool ForEachBox(ByteWindow& file, std::int64_t from, std::int64_t to, const std::function<bool(const Box&)>& visit);

}  // namespace salvor
