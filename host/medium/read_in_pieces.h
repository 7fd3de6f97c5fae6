#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace salvor {

/// Reads up to `length` bytes at `offset` of an image whose library fails as a whole for one bad chunk: at once, and if
/// that fails, in pieces up to the first that fails. `read(done, wanted)` reads `wanted` bytes behind the `done` first
/// ones and says how many it has got.
template <class Read>
std::size_t ReadInPieces(std::int64_t offset, std::size_t length, const Read& read) {
    // The usual chunk of E01; the libraries keep what they have unpacked last.
    constexpr std::size_t pieceBytes = std::size_t{32} << 10U;
    if (read(0, length) == length) {
        return length;
    }
    std::size_t done = 0;
    while (done < length) {
        const std::size_t inPiece = (static_cast<std::size_t>(offset) + done) % pieceBytes;
        const std::size_t wanted = std::min(length - done, pieceBytes - inPiece);
        const std::size_t got = read(done, wanted);
        done += got;
        if (got < wanted) {
            break;
        }
    }
    return done;
}

}  // namespace salvor
