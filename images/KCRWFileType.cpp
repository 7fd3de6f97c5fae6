#include "images/KCRWFileType.h"

#include <algorithm>

#include "formats/CanonTrailer.h"
#include "frame/read/FileWindow.h"
#include "frame/read/KFileSimulator.h"

namespace {

// These cameras write 2 to 12 MiB a picture.
constexpr std::int64_t SearchBytes = 0x2000000;
constexpr std::size_t ReadAheadBytes = 0x10000;

// Offset in `bytes` of the end of the root directory. `start` is the file offset of `bytes`.
std::optional<std::size_t> FindRootEnd(ByteSpan bytes, std::int64_t start, Budget& budget) {
    constexpr std::int64_t placeCost = 64;
    const auto root = CanonHeap::FindRoot(
        bytes, start, [](const CanonHeap::Contents& contents) { return contents.hasPicture && contents.hasProperties; },
        [&budget] { budget.Charge(placeCost); });
    return root ? std::optional(root->end) : std::nullopt;
}

// The bytes before the next picture's header, which is at a sector start and never inside a picture. `start` is the
// file offset of `bytes`.
ByteSpan BeforeNextHeader(ByteSpan bytes, std::int64_t start, std::int64_t sectorSize) {
    const std::int64_t first = std::max((start + sectorSize - 1) / sectorSize, std::int64_t{1}) * sectorSize - start;
    for (auto at = static_cast<std::size_t>(first); at < bytes.size(); at += static_cast<std::size_t>(sectorSize)) {
        if (StartsWith(bytes.subspan(at), KCRWFileType::Signature)) {
            return bytes.first(at);
        }
    }
    return bytes;
}

// How much of the first piece is worth reading: what is behind the next header in the block is not looked at.
std::size_t FirstPieceBytes(const Candidate& candidate) {
    const ByteSpan block = candidate.RestOfBlock();
    const auto sectorSize = static_cast<std::size_t>(candidate.block.sectorSize);
    for (std::size_t at = sectorSize; at + sectorSize <= std::min(block.size(), ReadAheadBytes); at += sectorSize) {
        if (StartsWith(block.subspan(at), KCRWFileType::Signature)) {
            return at;
        }
    }
    return ReadAheadBytes;
}

}  // namespace

std::optional<std::int64_t> KCRWFileType::Measure(const Candidate& candidate) {
    memory_.BeginWalk();
    const std::int64_t limit = std::min(SearchBytes, MediumSize(candidate.block));
    KFileSimulator reader(&candidate.block, candidate.startSector, static_cast<std::uint64_t>(Identity.maxSize));
    ahead_.resize(ReadAheadBytes);
    // A directory may straddle two pieces.
    constexpr auto step = static_cast<std::int64_t>(ReadAheadBytes - CanonHeap::MostDirectoryBytes);
    bool goesOn = true;
    for (std::int64_t start = 0; goesOn && start < limit && !memory_.IsExhausted(); start += step) {
        const std::size_t wanted = start == 0 ? FirstPieceBytes(candidate) : ReadAheadBytes;
        memory_.Charge(static_cast<std::int64_t>(wanted));
        reader.Seek(start);
        // If the piece cannot be read whole, the picture may end in the readable part.
        reader.Read(ahead_.data(), static_cast<std::uint32_t>(wanted));
        const ByteSpan wasRead = ByteSpan(ahead_).first(static_cast<std::size_t>(reader.Tell() - start));
        const ByteSpan bytes = BeforeNextHeader(wasRead, start, candidate.block.sectorSize);
        goesOn = bytes.size() == ReadAheadBytes;
        if (const std::optional<std::size_t> rootEnd = FindRootEnd(bytes, start, memory_)) {
            return CanonTrailer::EndAfterPadded(reader, start + static_cast<std::int64_t>(*rootEnd));
        }
    }
    return std::nullopt;
}
