#include "formats/QuarkChains.h"

#include <algorithm>
#include <array>

#include "frame/bytes/Endian.h"

namespace {

constexpr std::size_t PrefixBytes = 16;
constexpr auto LittleMark = PatternOf("\0\0IIXPR");
constexpr auto BigMark = PatternOf("\0\0MMXPR");
constexpr std::size_t LettersPlace = 12;

bool HasLetters(ByteSpan header, const Pattern<2>& letters) { return HasPatternAt(header, LettersPlace, letters); }

Endian EndianOf(ByteSpan header) { return StartsWith(header, BigMark) ? Endian::Big : Endian::Little; }

constexpr unsigned LastOfRelease4 = 0x41;
constexpr unsigned LastOfRelease5 = 0x42;

unsigned LowVersion(ByteSpan header) { return LoadAs<std::uint16_t>(header, 8, EndianOf(header)) & 0xFFU; }

// Checks the versions of the writing program and of the oldest one that can read the file.
bool HasSoundVersions(ByteSpan header) {
    constexpr int firstVersion = 0x38;
    constexpr int lastVersion = 0x60;
    constexpr int severalLanguages = 0x20;
    const int written = LoadAs<std::uint16_t>(header, 8, EndianOf(header));
    const int readable = LoadAs<std::uint16_t>(header, 10, EndianOf(header));
    const int low = written & 0xFF;
    const auto isEdition = [](int high) {
        return high == 0 || high == severalLanguages;
    };
    return low >= firstVersion && low <= lastVersion && isEdition(written >> 8) && isEdition(readable >> 8) &&
           std::abs(low - (readable & 0xFF)) <= 4;
}

// The cost of stepping to a block or of reading a number of the table, counted in bytes read.
constexpr std::int64_t StepWork = 64;

// Blocks have a fixed length and are numbered from 1. A small block ends with a link to the next one. A big one begins
// with a count of blocks and has its link at the end of the last of them. A negative link leads to a big block; 0 ends
// the chain.
class BlockChain {
public:
    // `known` is the highest block number that other chains have covered. It and the jump are in blocks.
    BlockChain(ByteWindow& file, Endian endian, std::int64_t blockBytes, std::int64_t first, std::int64_t known,
               std::int64_t longestJump)
        : file_(file),
          endian_(endian),
          blockBytes_(blockBytes),
          known_(known),
          longestJump_(longestJump),
          link_(first) {}

    // Steps to the next block; false at the end of the chain or if it is broken.
    bool Next() {
        if (link_ == 0 || isBroken_) {
            return false;
        }
        isBroken_ = !Take(std::abs(link_), link_ < 0);
        return !isBroken_;
    }

    bool IsBroken() const { return isBroken_; }
    // The number of blocks visited.
    std::int64_t Steps() const { return steps_; }
    // The highest number covered.
    std::int64_t Highest() const { return highest_; }
    // The range of the block's data, in bytes from the file's start.
    std::int64_t DataStart() const { return dataStart_; }
    std::int64_t DataEnd() const { return dataEnd_; }

private:
    bool Take(std::int64_t number, bool isBig) {
        file_.Charge(StepWork);
        if (number > file_.Limit() / blockBytes_ || number == noted_) {
            return false;
        }
        dataStart_ = (number - 1) * blockBytes_;
        std::int64_t count = 1;
        if (isBig) {
            const ByteSpan bytes = file_.At(dataStart_, 2);
            count = bytes.empty() ? 0 : LoadAs<std::uint16_t>(bytes, 0, endian_);
        }
        if (count == 0 || IsWild(number + count - 1)) {
            return false;
        }
        dataEnd_ = dataStart_ + count * blockBytes_ - LinkBytes;
        dataStart_ += isBig ? 2 : 0;
        const ByteSpan bytes = file_.At(dataEnd_, LinkBytes);
        if (bytes.empty()) {
            return false;
        }
        link_ = static_cast<std::int32_t>(LoadAs<std::uint32_t>(bytes, 0, endian_));
        highest_ = std::max(highest_, number + count - 1);
        ++steps_;
        if (steps_ == nextNote_) {
            noted_ = number;
            nextNote_ *= 2;
        }
        return true;
    }

    // A large file may jump by as many blocks as it has so far.
    bool IsWild(std::int64_t number) const {
        const std::int64_t covered = std::max(known_, highest_);
        return number - covered > std::max(longestJump_, covered);
    }

    static constexpr std::int64_t LinkBytes = 4;

    ByteWindow& file_;
    Endian endian_;
    std::int64_t blockBytes_;
    std::int64_t known_;
    std::int64_t longestJump_;
    std::int64_t link_;
    bool isBroken_ = false;
    std::int64_t dataStart_ = 0;
    std::int64_t dataEnd_ = 0;
    std::int64_t highest_ = 0;
    std::int64_t steps_ = 0;
    // A visited block, replaced after 1, 2, 4 ... steps. A chain that loops comes back to it within a few rounds.
    std::int64_t noted_ = 0;
    std::int64_t nextNote_ = 1;
};

// Releases 3 to 5: one chain.
std::optional<QuarkExtent> DocumentExtent(ByteWindow& file, Endian endian, std::int64_t firstBlock,
                                          std::int64_t longestJump) {
    constexpr std::int64_t blockBytes = 256;
    constexpr std::int64_t fewestSteps = 8;
    constexpr std::int64_t fewestBlocks = 16;
    BlockChain chain(file, endian, blockBytes, firstBlock, firstBlock, longestJump / blockBytes);
    while (chain.Next()) {
    }
    if (chain.IsBroken() && (chain.Steps() < fewestSteps || chain.Highest() < fewestBlocks)) {
        return std::nullopt;
    }
    return QuarkExtent{chain.Highest() * blockBytes, !chain.IsBroken()};
}

// Release 6 and later: one chain is a table of the first blocks of all others.
class Project {
public:
    Project(ByteWindow& file, Endian endian, std::int64_t longestJump)
        : file_(file),
          endian_(endian),
          longestJump_(longestJump / BlockBytes),
          table_(file, endian, BlockBytes, TableBlock, TableBlock, longestJump_) {}

    std::optional<QuarkExtent> Extent() {
        if (!HasSoundHeader() || !OpenTable()) {
            return std::nullopt;
        }
        while (left_ > 0) {
            const std::size_t count = std::min<std::size_t>(left_, firsts_.size());
            left_ -= static_cast<std::uint32_t>(count);
            for (std::size_t i = 0; i < count; ++i) {
                const std::optional<std::uint32_t> first = NextNumber();
                if (!first || *first < TableBlock) {
                    return std::nullopt;
                }
                firsts_[i] = *first;
            }
            std::for_each_n(firsts_.begin(), count, [this](std::uint32_t first) { Follow(first); });
        }
        return QuarkExtent{std::max(highest_, table_.Highest()) * BlockBytes, !isBroken_};
    }

private:
    static constexpr std::int64_t BlockBytes = 1024;
    static constexpr std::uint32_t TableBlock = 2;
    static constexpr std::size_t TableHeaderBytes = 40;

    // The rest of the first block is empty, and the third one begins with a signature.
    bool HasSoundHeader() {
        constexpr auto littleMark = PatternOf("IIMLTS");
        constexpr auto bigMark = PatternOf("IISTLM");
        const ByteSpan bytes = file_.At(0, 2 * BlockBytes + littleMark.size());
        return !bytes.empty() &&
               std::ranges::all_of(bytes.subspan(PrefixBytes, BlockBytes - PrefixBytes),
                                   [](std::uint8_t byte) { return byte == 0; }) &&
               HasPatternAt(bytes, 2 * BlockBytes, endian_ == Endian::Big ? bigMark : littleMark);
    }

    bool OpenTable() {
        std::array<std::uint32_t, TableHeaderBytes / 4> header{};
        for (std::uint32_t& number : header) {
            const std::optional<std::uint32_t> next = NextNumber();
            if (!next) {
                return false;
            }
            number = *next;
        }
        const std::uint32_t count = header[2];
        const std::uint32_t bytes = count * 4;
        left_ = count;
        return count >= 1 && count <= file_.Limit() / BlockBytes && header[0] == count - 1 && header[5] == bytes &&
               header[6] >= count && header[7] == bytes;
    }

    // The next number of the table. It may straddle two blocks.
    std::optional<std::uint32_t> NextNumber() {
        file_.Charge(StepWork);
        std::array<std::uint8_t, 4> bytes{};
        for (std::uint8_t& byte : bytes) {
            while (position_ >= end_) {
                if (!table_.Next()) {
                    return std::nullopt;
                }
                position_ = table_.DataStart();
                end_ = table_.DataEnd();
            }
            const ByteSpan next = file_.At(position_, 1);
            if (next.empty()) {
                return std::nullopt;
            }
            byte = next[0];
            ++position_;
        }
        return LoadAs<std::uint32_t>(bytes, 0, endian_);
    }

    // A broken chain counts as far as it goes. No block is in two chains, so together they are no longer than the
    // largest file.
    void Follow(std::uint32_t first) {
        BlockChain chain(file_, endian_, BlockBytes, first, std::max({highest_, table_.Highest(), std::int64_t{first}}),
                         longestJump_);
        while (stepsLeft_ > 0 && chain.Next()) {
            --stepsLeft_;
        }
        highest_ = std::max(highest_, chain.Highest());
        isBroken_ = isBroken_ || chain.IsBroken() || stepsLeft_ == 0;
    }

    ByteWindow& file_;
    Endian endian_;
    std::int64_t longestJump_;
    BlockChain table_;
    // The unread part of the table's current block.
    std::int64_t position_ = 0;
    std::int64_t end_ = 0;
    // How many numbers are left in the table.
    std::uint32_t left_ = 0;
    // Read in batches, because the table and the chains are far apart.
    std::array<std::uint32_t, 256> firsts_{};
    std::int64_t stepsLeft_ = file_.Limit() / BlockBytes;
    std::int64_t highest_ = 0;
    bool isBroken_ = false;
};

}  // namespace

QuarkKind QuarkKindOf(ByteSpan sector) {
    if (!(StartsWith(sector, LittleMark) || StartsWith(sector, BigMark)) || sector.size() < PrefixBytes ||
        !HasSoundVersions(sector) || HasLetters(sector, PatternOf("LB")) || HasLetters(sector, PatternOf("BK"))) {
        return QuarkKind::None;
    }
    return HasLetters(sector, PatternOf("TP")) || HasLetters(sector, PatternOf("XT")) ? QuarkKind::Template
                                                                                      : QuarkKind::Project;
}

std::optional<QuarkExtent> FindQuarkExtent(ByteWindow& file, std::int64_t longestJump) {
    const ByteSpan header = file.At(0, PrefixBytes);
    if (header.empty()) {
        return std::nullopt;
    }
    const Endian endian = EndianOf(header);
    const unsigned version = LowVersion(header);
    if (version > LastOfRelease5 || HasLetters(header, PatternOf("XP")) || HasLetters(header, PatternOf("XT"))) {
        return Project(file, endian, longestJump).Extent();
    }
    return DocumentExtent(file, endian, version <= LastOfRelease4 ? 3 : 4, longestJump);
}
