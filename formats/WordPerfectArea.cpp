#include "formats/WordPerfectArea.h"

#include <algorithm>
#include <array>

#include "frame/bytes/Endian.h"

namespace {

// Function codes: those of fixed length, with that length, and those that give their own.
struct CodeTable {
    std::uint8_t firstFixed;
    std::uint8_t fixedCount;
    std::array<std::uint8_t, 16> fixedLengths;
    std::uint8_t firstVariable;
    std::uint8_t lastVariable;

    bool IsFixed(std::uint8_t code) const { return code >= firstFixed && code - firstFixed < fixedCount; }
    bool IsVariable(std::uint8_t code) const { return code >= firstVariable && code <= lastVariable; }
    // Text, or a function without data.
    bool IsSingle(std::uint8_t code) const { return code < firstFixed && code < firstVariable; }
};

constexpr CodeTable TableOf(WordPerfectCodes codes) {
    switch (codes) {
        case WordPerfectCodes::Release5:
            return {0xC0, 16, {4, 9, 11, 3, 3, 5, 6, 7, 4, 5, 6, 6, 8, 10, 10, 12}, 0xD0, 0xFF};
        case WordPerfectCodes::Macintosh:
            return {0xC0, 16, {5, 8, 7, 4, 4, 7, 10, 7, 4, 5, 6, 6, 7, 9, 7, 4}, 0xD0, 0xFF};
        default:
            return {0xF0, 15, {4, 5, 3, 3, 3, 3, 4, 4, 4, 5, 5, 6, 6, 8, 8}, 0xD0, 0xEF};
    }
}

// Foreign bytes begin at a sector start; this is the shortest sector.
constexpr std::int64_t SectorBytes = 512;

class AreaWalk {
public:
    AreaWalk(ByteWindow& file, WordPerfectCodes codes, std::int64_t start, WordPerfectEnd end)
        : file_(file), codes_(codes), table_(TableOf(codes)), start_(start), rule_(end), position_(start) {}

    std::optional<std::int64_t> End() {
        while (!isOver_) {
            const std::int64_t from = position_;
            TakeSingles();
            file_.Charge(FunctionWork + ByteWork * (position_ - from));
            if (!isOver_) {
                TakeFunction();
            }
        }
        return text_ >= FewestTextBytes ? std::optional(end_) : std::nullopt;
    }

private:
    static constexpr std::int64_t FewestTextBytes = 64;
    static constexpr std::int64_t ZerosAtEnd = 16;
    static constexpr std::size_t FaultsAtEnd = 64;
    static constexpr std::int32_t MostFaults = 1024;
    // The cost of looking at a byte and of a function, counted in bytes read.
    static constexpr std::int64_t ByteWork = 8;
    static constexpr std::int64_t FunctionWork = 64;

    // Steps over the next function.
    void TakeSingles() {
        const ByteSpan bytes = file_.From(position_);
        for (const std::uint8_t byte : bytes) {
            if (!table_.IsSingle(byte)) {
                return;
            }
            ++position_;
            if (byte == 0) {
                ++zeros_;
                if (zeros_ == ZerosAtEnd || position_ % SectorBytes == 0) {
                    isOver_ = true;
                    return;
                }
                continue;
            }
            text_ += byte >= ' ' && byte <= '~' ? 1 : 0;
            zeros_ = 0;
            end_ = position_;
        }
        isOver_ = bytes.empty();
    }

    void TakeFunction() {
        constexpr auto header = PatternOf("\xFFWPC");
        const ByteSpan first = file_.From(position_, header.size());
        if (first.empty() || (position_ % SectorBytes == 0 && StartsWith(first, header))) {
            isOver_ = true;
            return;
        }
        const std::uint8_t code = first[0];
        if (table_.IsSingle(code)) {
            return;
        }
        if (const std::int64_t length = FunctionBytes(code); length != 0) {
            // Letters outside ASCII.
            text_ += code == table_.firstFixed ? 1 : 0;
            position_ += length;
            zeros_ = 0;
            end_ = position_;
            return;
        }
        TakeFault();
    }

    // The whole function's length; 0 if its closing bytes do not match the opening ones.
    std::int64_t FunctionBytes(std::uint8_t code) {
        if (table_.IsFixed(code)) {
            const std::int64_t length = table_.fixedLengths[code - table_.firstFixed];
            const ByteSpan last = file_.At(position_ + length - 1, 1);
            return !last.empty() && last[0] == code ? length : 0;
        }
        if (!table_.IsVariable(code)) {
            return 0;
        }
        return codes_ == WordPerfectCodes::Release6 ? VariableBytesOf6(code) : VariableBytes(code);
    }

    // Code, sub-code and count are at both ends; the count covers all but the first four bytes.
    std::int64_t VariableBytes(std::uint8_t code) {
        const Endian endian = codes_ == WordPerfectCodes::Macintosh ? Endian::Big : Endian::Little;
        const ByteSpan head = file_.At(position_, 4);
        if (head.empty()) {
            return 0;
        }
        const std::uint8_t subCode = head[1];
        const auto count = LoadAs<std::uint16_t>(head, 2, endian);
        const ByteSpan tail = count < 4 ? ByteSpan() : file_.At(position_ + count, 4);
        const bool agrees =
            !tail.empty() && LoadAs<std::uint16_t>(tail, 0, endian) == count && tail[2] == subCode && tail[3] == code;
        return agrees ? std::int64_t{count} + 4 : 0;
    }

    // Code and total length are at both ends.
    std::int64_t VariableBytesOf6(std::uint8_t code) {
        constexpr std::uint16_t fewestBytes = 7;
        const ByteSpan head = file_.At(position_, 4);
        if (head.empty()) {
            return 0;
        }
        const auto length = LoadLittle<std::uint16_t>(head, 2);
        const ByteSpan tail = length < fewestBytes ? ByteSpan() : file_.At(position_ + length - 3, 3);
        return !tail.empty() && LoadLittle<std::uint16_t>(tail, 0) == length && tail[2] == code ? length : 0;
    }

    // A code without a valid function. Many of them close together are foreign bytes, which begin in the sector of the
    // first.
    void TakeFault() {
        std::int64_t& place = faults_[static_cast<std::size_t>(faultCount_) % FaultsAtEnd];
        place = position_;
        ++faultCount_;
        ++position_;
        zeros_ = 0;
        if (static_cast<std::size_t>(faultCount_) < FaultsAtEnd) {
            return;
        }
        const std::int64_t oldest = faults_[static_cast<std::size_t>(faultCount_) % FaultsAtEnd];
        if (position_ - oldest <= SectorBytes || faultCount_ == MostFaults) {
            isOver_ = true;
            EndBefore(oldest);
        }
    }

    // Text ends with a letter or a line end, foreign bytes with anything.
    void EndAfterText(std::int64_t fault) {
        constexpr std::int64_t mostForeign = 64;
        end_ = fault;
        const std::int64_t from = std::max(fault - mostForeign, start_);
        const ByteSpan bytes = file_.At(from, static_cast<std::size_t>(fault - from));
        const auto endsText = [this](std::uint8_t byte) {
            return (byte >= ' ' && byte <= '~') || byte == '\n' || byte == '\f' || byte == '\r' ||
                   !table_.IsSingle(byte);
        };
        for (std::size_t i = bytes.size(); i-- > 0 && !endsText(bytes[i]);) {
            --end_;
        }
    }

    void EndBefore(std::int64_t fault) {
        constexpr std::int64_t longestPadding = SectorBytes;
        if (rule_ == WordPerfectEnd::Text) {
            EndAfterText(fault);
            return;
        }
        end_ = std::max(fault - fault % SectorBytes, start_);
        const std::int64_t from = std::max(end_ - longestPadding, start_);
        const ByteSpan bytes = file_.At(from, static_cast<std::size_t>(end_ - from));
        for (std::size_t i = bytes.size(); i-- > 0 && bytes[i] == 0;) {
            --end_;
        }
    }

    ByteWindow& file_;
    WordPerfectCodes codes_;
    CodeTable table_;
    std::int64_t start_;
    WordPerfectEnd rule_;
    std::int64_t position_;
    // The end of the last byte that is neither zero nor part of a fault.
    std::int64_t end_ = start_;
    bool isOver_ = false;
    std::int64_t text_ = 0;
    // Consecutive zeros before the position.
    std::int64_t zeros_ = 0;
    // A ring of the offsets of the last faults.
    std::array<std::int64_t, FaultsAtEnd> faults_{};
    std::int32_t faultCount_ = 0;
};

}  // namespace

std::optional<std::int64_t> WordPerfectAreaEnd(ByteWindow& file, WordPerfectCodes codes, std::int64_t start,
                                               WordPerfectEnd end) {
    return AreaWalk(file, codes, start, end).End();
}
