#include "host/volumes/pointer_blocks.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <set>
#include <tuple>
#include <utility>

#include "frame/bytes/Bytes.h"

namespace salvor {

namespace {

constexpr std::int64_t NumberBytes = 4;
// Blocks whose numbers are in the inode itself.
constexpr std::int64_t DirectBlocks = 12;
constexpr std::int64_t BlockSizes[] = {1024, 2048, 4096};
// Fewer numbers in a row may be a coincidence, unless other files confirm where the file system begins.
constexpr std::size_t CertainNumbers = 4;

// A file system that may be at a place: the size of its blocks, and the byte of the image where it begins.
struct Layout {
    std::int64_t blockBytes = 0;
    std::int64_t start = 0;
    bool operator<(const Layout& other) const {
        return std::tie(blockBytes, start) < std::tie(other.blockBytes, other.start);
    }
};

struct Rebuilt {
    Layout layout;
    bool isCertain = false;
    KnownFile file;
};

class PointerFollower {
public:
    explicit PointerFollower(Medium& image)
        : image_(image), readsLeft_((std::int64_t{16} << 20) + image.SizeInBytes() / 512) {}

    std::optional<Rebuilt> Follow(std::int64_t startSector, const Finding& carved) {
        for (const std::int64_t blockBytes : BlockSizes) {
            const bool endsBefore = carved.verdict == Verdict::Whole && carved.size <= DirectBlocks * blockBytes;
            if (endsBefore || blockBytes < image_.SectorSize() || readsLeft_ <= 0 || extentsLeft_ <= 0) {
                continue;
            }
            if (auto rebuilt = FollowWith(blockBytes, startSector * image_.SectorSize())) {
                return rebuilt;
            }
        }
        return std::nullopt;
    }

private:
    // The numbers in a block, if they ascend and nothing but zeros follows them; else none.
    std::vector<std::uint32_t> NumbersAt(std::int64_t byte) {
        const std::int64_t sectorSize = image_.SectorSize();
        std::vector<std::uint32_t> numbers;
        if (byte < 0 || byte + layout_.blockBytes > image_.SizeInBytes() || byte % sectorSize != 0) {
            return numbers;
        }
        // The first sector refutes most blocks.
        block_.resize(static_cast<std::size_t>(layout_.blockBytes));
        image_.Read(byte / sectorSize, block_.data(), 1);
        const auto first = LoadLittle<std::uint32_t>(block_, 0);
        const auto second = LoadLittle<std::uint32_t>(block_, NumberBytes);
        if (first == 0 || (second != 0 && second <= first)) {
            return numbers;
        }
        image_.Read(byte / sectorSize, block_.data(), layout_.blockBytes / sectorSize);
        readsLeft_ -= layout_.blockBytes;
        for (std::size_t at = 0; at < block_.size(); at += NumberBytes) {
            const auto number = LoadLittle<std::uint32_t>(block_, at);
            const bool isBehind = numbers.size() * NumberBytes != at;
            if (number != 0 && (isBehind || (!numbers.empty() && number <= numbers.back()))) {
                return {};
            }
            if (number != 0) {
                numbers.push_back(number);
            }
        }
        return numbers;
    }

    std::int64_t ByteOf(std::uint32_t number) const { return layout_.start + number * layout_.blockBytes; }
    bool IsFull(const std::vector<std::uint32_t>& numbers) const {
        return std::ssize(numbers) * NumberBytes == layout_.blockBytes;
    }

    std::optional<Rebuilt> FollowWith(std::int64_t blockBytes, std::int64_t start) {
        layout_ = {blockBytes, 0};
        const std::int64_t pointers = start + DirectBlocks * blockBytes;
        const std::vector<std::uint32_t> numbers = NumbersAt(pointers);
        if (numbers.empty()) {
            return std::nullopt;
        }
        // The first block of the rest lies behind the block that names it.
        layout_.start = pointers + blockBytes - numbers[0] * blockBytes;
        if (layout_.start < 0 || start <= layout_.start) {
            return std::nullopt;
        }
        extents_ = {{start / image_.SectorSize(), DirectBlocks * blockBytes}};
        last_ = numbers[0] - 1;
        if (!Take(numbers)) {
            return std::nullopt;
        }
        if (IsFull(numbers)) {
            TakeTwice(last_ + 1);
        }
        extentsLeft_ -= std::ssize(extents_);
        Rebuilt rebuilt{layout_, numbers.size() >= CertainNumbers, {}};
        rebuilt.file.extents = extents_;
        rebuilt.file.size = BytesOf(extents_);
        rebuilt.file.isDeleted = rebuilt.file.isComplete = rebuilt.file.isRebuilt = true;
        return rebuilt;
    }

    // Appends the blocks with these numbers. All numbers of a file ascend, so it is never larger than the medium.
    bool Take(const std::vector<std::uint32_t>& numbers) {
        constexpr std::size_t mostExtents = 4096;
        if (numbers.empty() || numbers[0] <= last_ ||
            ByteOf(numbers.back()) + layout_.blockBytes > image_.SizeInBytes() || extents_.size() > mostExtents) {
            return false;
        }
        for (const std::uint32_t number : numbers) {
            Append(extents_, {ByteOf(number) / image_.SectorSize(), layout_.blockBytes}, image_.SectorSize());
        }
        last_ = numbers.back();
        return true;
    }

    // The block with this number has the numbers of further blocks of numbers.
    void TakeTwice(std::uint32_t number) {
        for (const std::uint32_t next : NumbersAt(ByteOf(number))) {
            const std::vector<std::uint32_t> numbers = NumbersAt(ByteOf(next));
            if (readsLeft_ <= 0 || next <= last_ || !Take(numbers) || !IsFull(numbers)) {
                return;
            }
        }
    }

    Medium& image_;
    // In bytes, for all files together.
    std::int64_t readsLeft_;
    // A made-up block of numbers becomes extents of four times its size.
    std::int64_t extentsLeft_ = std::int64_t{1} << 20;
    Layout layout_;
    std::vector<std::uint8_t> block_;
    // Of the current file.
    std::vector<Extent> extents_;
    std::uint32_t last_ = 0;
};

}  // namespace

std::vector<KnownFile> FollowPointerBlocks(const Outcomes& outcomes, const std::vector<std::int64_t>& starts,
                                           const ScanMedium& scanned) {
    PointerFollower follower(scanned.Image());
    std::vector<Rebuilt> found;
    std::set<Layout> layouts;
    const auto follow = [&](std::int64_t sector, const Finding& carved) {
        if (auto rebuilt = follower.Follow(scanned.OnImage(sector), carved)) {
            if (rebuilt->isCertain) {
                layouts.insert(rebuilt->layout);
            }
            found.push_back(*std::move(rebuilt));
        }
    };
    auto start = starts.begin();
    for (const Outcome& outcome : outcomes) {
        for (; start != starts.end() && *start <= outcome.startSector; ++start) {
            if (*start < outcome.startSector) {
                follow(*start, {});
            }
        }
        follow(outcome.startSector, outcome.finding);
    }
    std::for_each(start, starts.end(), [&](std::int64_t sector) { follow(sector, {}); });
    std::vector<KnownFile> files;
    for (Rebuilt& one : found) {
        if (layouts.contains(one.layout)) {
            files.push_back(std::move(one.file));
        }
    }
    return files;
}

}  // namespace salvor
