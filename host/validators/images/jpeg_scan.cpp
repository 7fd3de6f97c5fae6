#include "host/validators/images/jpeg_scan.h"

#include <algorithm>
#include <bit>
#include <cstdlib>

namespace salvor {

namespace {

constexpr std::uint8_t MarkerPrefix = 0xFF;
constexpr std::uint8_t FirstRestart = 0xD0;
constexpr unsigned CoefficientCount = 64;

// The bits of a scan, without the zero bytes that are stuffed after FF. After the end, zeros are given.
class BitReader {
public:
    BitReader(ByteWindow& file, std::int64_t position) : file_(&file), position_(position) {}

    // Makes at least 32 bits available, with zeros after the end.
    void Fill() {
        if (count_ < 32) {
            Refill();
        }
    }

    std::uint32_t Peek16() const { return static_cast<std::uint32_t>(bits_ >> 48U); }
    void Skip(unsigned count) {
        bits_ <<= count;
        count_ -= static_cast<int>(count);
    }
    // Takes up to 16 bits.
    std::uint32_t Take(unsigned count) {
        const std::uint32_t value = count == 0 ? 0 : Peek16() >> (16 - count);
        Skip(count);
        return value;
    }

    // True if more bits were taken than there are.
    bool IsOverrun() const { return isAtEnd_ && count_ < fed_; }

    // About the offset of the first byte of which no bit was taken.
    std::int64_t Position() const {
        // Bytes that were loaded but not used. Stuffed zeros among them are ignored: the offset need not be exact.
        const int unused = std::max(count_ - fed_, 0) / 8;
        return position_ + static_cast<std::int64_t>(at_) - unused;
    }

    // The rest of a byte is padded with ones; some encoders use zeros.
    bool IsPadded() const {
        const auto left = static_cast<unsigned>(std::max(count_ - fed_, 0)) % 8;
        const std::uint32_t rest = Peek16() >> (16 - left);
        return rest == 0 || rest == (1U << left) - 1;
    }

    // Drops the rest of the byte and steps over the restart marker, which must follow at once.
    bool TakeRestart(unsigned number) {
        if (!isAtEnd_ && count_ < 8) {
            Refill();
        }
        if (!isAtEnd_ || IsOverrun() || count_ - fed_ >= 8 || !IsPadded()) {
            return false;
        }
        // The marker may follow fill bytes.
        std::int64_t marker = position_ + static_cast<std::int64_t>(at_);
        ByteSpan bytes = file_->At(marker, 2);
        for (int fill = 0; fill < 16 && !bytes.empty() && bytes[0] == MarkerPrefix && bytes[1] == MarkerPrefix;
             ++fill) {
            bytes = file_->At(++marker, 2);
        }
        if (bytes.empty() || bytes[0] != MarkerPrefix || bytes[1] != FirstRestart + number) {
            return false;
        }
        *this = BitReader(*file_, marker + 2);
        return true;
    }

private:
    void Refill() {
        if (at_ + 8 <= piece_.size()) {
            const auto word = LoadBig<std::uint64_t>(piece_, at_);
            // Whether any of the next bytes is FF.
            const std::uint64_t inverted = ~word;
            const bool hasPrefix = ((inverted - 0x0101010101010101U) & ~inverted & 0x8080808080808080U) != 0;
            if (!hasPrefix) {
                const auto bytes = static_cast<unsigned>(64 - count_) / 8;
                // The bits beyond the whole bytes are right too; the next load repeats them.
                bits_ |= word >> static_cast<unsigned>(count_);
                at_ += bytes;
                count_ += static_cast<int>(bytes * 8);
                bits_ = count_ == 64
                            ? bits_
                            : bits_ >> (64U - static_cast<unsigned>(count_)) << (64U - static_cast<unsigned>(count_));
                return;
            }
        }
        while (count_ <= 56) {
            std::uint64_t byte = 0;
            if (!isAtEnd_) {
                byte = NextByte();
            }
            if (isAtEnd_) {
                fed_ += 8;
            }
            bits_ |= byte << static_cast<unsigned>(56 - count_);
            count_ += 8;
        }
        // The result for a larger overrun is the same; the limit keeps the count from overflowing.
        fed_ = std::min(fed_, 1 << 20);
    }

    std::uint8_t NextByte() {
        if (at_ + 2 > piece_.size()) {
            position_ += static_cast<std::int64_t>(at_);
            at_ = 0;
            piece_ = file_->From(position_, 2);
            if (piece_.empty()) {
                isAtEnd_ = true;
                return 0;
            }
        }
        const std::uint8_t byte = piece_[at_];
        if (byte != MarkerPrefix) {
            ++at_;
            return byte;
        }
        if (at_ + 1 >= piece_.size() || piece_[at_ + 1] != 0) {
            isAtEnd_ = true;
            return 0;
        }
        at_ += 2;
        return byte;
    }

    ByteWindow* file_;
    // The offset of the piece.
    std::int64_t position_;
    ByteSpan piece_ = {};
    std::size_t at_ = 0;
    std::uint64_t bits_ = 0;
    int count_ = 0;
    // Zero bits that were appended after the last byte.
    int fed_ = 0;
    bool isAtEnd_ = false;
};

// The longest difference of the first coefficient, in bits, for samples of 12 bits.
constexpr std::uint8_t LongestDifference = 15;

class ScanWalk {
public:
    ScanWalk(ByteWindow& file, std::int64_t start, const JpegFrame& frame, const JpegScan& scan)
        : file_(file), bits_(file, start), frame_(frame), scan_(scan) {}

    JpegScanEnd Follow() {
        const bool isSingle = scan_.parts.size() == 1;
        const JpegComponent& first = *scan_.parts.front().component;
        const std::int64_t across = isSingle ? first.width : frame_.unitsAcross;
        const std::int64_t units = across * (isSingle ? first.height : frame_.unitsDown);
        unsigned restarts = 0;
        std::uint32_t untilRestart = scan_.restartInterval;
        std::int64_t row = 0;
        std::int64_t column = 0;
        for (std::int64_t unit = 0; unit < units; ++unit) {
            if (scan_.restartInterval != 0 && untilRestart-- == 0) {
                if (!bits_.TakeRestart(restarts++ % 8)) {
                    return {bits_.Position(), false};
                }
                endOfBandRun_ = 0;
                firsts_.fill(0);
                untilRestart = scan_.restartInterval - 1;
            }
            const bool isRight =
                isSingle ? FollowBlock(scan_.parts.front(), row * first.paddedWidth + column) : FollowUnit(row, column);
            if (!isRight || bits_.IsOverrun()) {
                return {bits_.Position(), false};
            }
            if (++column == across) {
                column = 0;
                ++row;
                if (file_.IsExhausted()) {
                    return {bits_.Position(), false};
                }
            }
        }
        return {bits_.Position(), bits_.IsPadded()};
    }

private:
    bool FollowUnit(std::int64_t row, std::int64_t column) {
        for (const JpegScan::Part& part : scan_.parts) {
            const JpegComponent& component = *part.component;
            for (std::int64_t y = 0; y < component.vertical; ++y) {
                for (std::int64_t x = 0; x < component.horizontal; ++x) {
                    if (!FollowBlock(part, (row * component.vertical + y) * component.paddedWidth +
                                               column * component.horizontal + x)) {
                        return false;
                    }
                }
            }
        }
        return true;
    }

    bool FollowBlock(const JpegScan::Part& part, std::int64_t block) {
        if (!frame_.isProgressive) {
            return FollowFirst(part) && FollowRest(part);
        }
        if (scan_.firstCoefficient == 0) {
            if (scan_.highBit != 0) {
                bits_.Fill();
                bits_.Skip(1);
                return true;
            }
            return FollowFirst(part);
        }
        std::uint64_t& nonzero = part.component->nonzero[static_cast<std::size_t>(block)];
        return scan_.highBit == 0 ? FollowBand(part, nonzero) : RefineBand(part, nonzero);
    }

    bool FollowFirst(const JpegScan::Part& part) {
        bits_.Fill();
        const JpegHuffmanTable::Code code = part.dc->Find(bits_.Peek16());
        if (code.length == 0 || code.value > LongestDifference) {
            return false;
        }
        bits_.Skip(code.length);
        const std::int64_t bits = bits_.Take(code.value);
        const std::int64_t range = std::int64_t{1} << code.value;
        std::int64_t& first = firsts_[static_cast<std::size_t>(&part - scan_.parts.data())];
        // Differences with a leading zero are negative.
        first += (bits * 2 < range ? bits - range + 1 : bits) * (std::int64_t{1} << scan_.lowBit);
        return std::abs(first) <= part.largestFirst;
    }

    bool FollowRest(const JpegScan::Part& part) {
        for (unsigned k = 1; k < CoefficientCount; ++k) {
            bits_.Fill();
            const JpegHuffmanTable::Code code = part.ac->Find(bits_.Peek16());
            if (code.length == 0) {
                return false;
            }
            const unsigned size = code.value & 15U;
            const unsigned run = code.value >> 4U;
            bits_.Skip(code.length + size);
            if (size == 0 && run != 15) {
                return run == 0;
            }
            k += run;
            // Some encoders run past the end with zeros.
            if (k >= CoefficientCount) {
                return size == 0;
            }
        }
        return true;
    }

    bool FollowBand(const JpegScan::Part& part, std::uint64_t& nonzero) {
        if (endOfBandRun_ > 0) {
            --endOfBandRun_;
            return true;
        }
        for (unsigned k = scan_.firstCoefficient; k <= scan_.lastCoefficient; ++k) {
            bits_.Fill();
            const JpegHuffmanTable::Code code = part.ac->Find(bits_.Peek16());
            if (code.length == 0) {
                return false;
            }
            const unsigned size = code.value & 15U;
            const unsigned run = code.value >> 4U;
            bits_.Skip(code.length);
            if (size == 0 && run != 15) {
                endOfBandRun_ = (std::uint32_t{1} << run) - 1 + bits_.Take(run);
                return true;
            }
            bits_.Skip(size);
            k += run;
            if (k > scan_.lastCoefficient) {
                return false;
            }
            if (size != 0) {
                nonzero |= std::uint64_t{1} << k;
            }
        }
        return true;
    }

    // Goes to the end of the band, which `k` then is, or to a run of bands with no more coefficients.
    bool RefineCoefficients(const JpegScan::Part& part, std::uint64_t& nonzero, unsigned& k) {
        for (; k <= scan_.lastCoefficient; ++k) {
            bits_.Fill();
            const JpegHuffmanTable::Code code = part.ac->Find(bits_.Peek16());
            const unsigned size = code.value & 15U;
            const unsigned run = code.value >> 4U;
            if (code.length == 0 || size > 1) {
                return false;
            }
            bits_.Skip(code.length);
            if (size == 0 && run != 15) {
                endOfBandRun_ = (std::uint32_t{1} << run) + bits_.Take(run);
                return true;
            }
            bits_.Skip(size);
            k = AfterRun(run, nonzero, k);
            if (size != 0 && k > scan_.lastCoefficient) {
                return false;
            }
            nonzero |= size != 0 ? std::uint64_t{1} << k : 0;
        }
        return true;
    }

    // The index of the coefficient that follows `run` zeros.
    unsigned AfterRun(unsigned run, std::uint64_t nonzero, unsigned k) {
        for (; k <= scan_.lastCoefficient; ++k) {
            if ((nonzero >> k & 1U) != 0) {
                bits_.Fill();
                bits_.Skip(1);
            } else if (run-- == 0) {
                break;
            }
        }
        return k;
    }

    // Each known coefficient gets one more bit, wherever a run passes it.
    bool RefineBand(const JpegScan::Part& part, std::uint64_t& nonzero) {
        unsigned k = scan_.firstCoefficient;
        if (endOfBandRun_ == 0 && !RefineCoefficients(part, nonzero, k)) {
            return false;
        }
        if (endOfBandRun_ > 0) {
            const std::uint64_t band = (~std::uint64_t{0} << k) & (~std::uint64_t{0} >> (63 - scan_.lastCoefficient));
            auto left = k < CoefficientCount ? static_cast<unsigned>(std::popcount(nonzero & band)) : 0U;
            while (left > 0) {
                const unsigned count = std::min(left, 16U);
                bits_.Fill();
                bits_.Skip(count);
                left -= count;
            }
            --endOfBandRun_;
        }
        return true;
    }

    ByteWindow& file_;
    BitReader bits_;
    const JpegFrame& frame_;
    const JpegScan& scan_;
    std::uint32_t endOfBandRun_ = 0;
    // The first coefficient of each part's last block, to which the next differences are added.
    std::array<std::int64_t, JpegScan::MostParts> firsts_{};
};

}  // namespace

bool JpegHuffmanTable::Define(ByteSpan counts, ByteSpan values) {
    isDefined_ = false;
    fast_.fill({});
    std::uint32_t code = 0;
    std::size_t next = 0;
    for (unsigned length = 1; length <= 16; ++length) {
        const std::size_t count = counts[length - 1];
        if (next + count > std::min(values.size(), values_.size()) || code + count > (std::uint32_t{1} << length)) {
            return false;
        }
        offset_[length] = static_cast<std::int32_t>(next) - static_cast<std::int32_t>(code);
        for (std::size_t i = 0; i < count; ++i, ++code, ++next) {
            values_[next] = values[next];
            if (length <= FastBits) {
                auto* const begin = fast_.begin() + static_cast<std::ptrdiff_t>(code << (FastBits - length));
                std::fill_n(begin, std::size_t{1} << (FastBits - length),
                            Code{values[next], static_cast<std::uint8_t>(length)});
            }
        }
        limit_[length] = code << (16 - length);
        code <<= 1U;
    }
    isDefined_ = next > 0;
    return isDefined_;
}

JpegHuffmanTable::Code JpegHuffmanTable::FindLong(std::uint32_t bits) const {
    for (unsigned length = FastBits + 1; length <= 16; ++length) {
        if (bits < limit_[length]) {
            const std::int32_t index = offset_[length] + static_cast<std::int32_t>(bits >> (16 - length));
            return {values_[static_cast<std::size_t>(index)], static_cast<std::uint8_t>(length)};
        }
    }
    return {};
}

JpegScanEnd FollowJpegScan(ByteWindow& file, std::int64_t start, const JpegFrame& frame, const JpegScan& scan) {
    return ScanWalk(file, start, frame, scan).Follow();
}

}  // namespace salvor
