#include "formats/DwgHeader2007.h"

#include <algorithm>
#include <array>
#include <bit>

namespace {

// The header's error-correcting code words, stored interleaved byte by byte.
constexpr std::size_t Words = 3;
constexpr std::size_t WordDataBytes = 239;
// Offsets in the joined data: of the compressed length, and of the compressed data.
constexpr std::size_t LengthOffset = 24;
constexpr std::size_t DataOffset = 32;

// Only the header's first ten 64-bit numbers are needed.
constexpr std::size_t OutputBytes = 80;

constexpr std::size_t LiteralGroup = 32;
// Literals are stored shuffled. For each count, the set bits are where the source is cut into pieces; the pieces are
// copied last one first.
constexpr std::array<std::uint32_t, LiteralGroup + 1> LiteralCuts{
    0,         0x1,       0x3,        0x7,        0x1,        0x11,      0x23,    0x63,    0x1,
    0x101,     0x203,     0x603,      0x101,      0x1101,     0x2203,    0x6203,  0x101,   0x301,
    0x20203,   0x70101,   0x10101,    0x110101,   0x310101,   0x710101,  0x10101, 0x30101, 0x2030101,
    0x6030101, 0x1010101, 0x11010101, 0x31010101, 0x44040407, 0x1010101,
};

class Decompressor {
public:
    explicit Decompressor(ByteSpan input) : input_(input) {}

    // True once the output is full.
    bool Run();

    const std::array<std::uint8_t, OutputBytes>& Output() const { return output_; }

private:
    struct Copy {
        std::size_t length;
        std::size_t offset;
        std::size_t literals;
    };

    bool IsFull() const { return filled_ == OutputBytes; }

    // Reading past the end gives 0 and marks the input as broken.
    std::size_t Next() {
        isBroken_ = isBroken_ || at_ >= input_.size();
        return isBroken_ ? 0 : input_[at_++];
    }
    std::size_t NextWord() {
        const std::size_t low = Next();
        return low | Next() << 8U;
    }

    std::size_t FirstLiterals();
    std::size_t LiteralCount(std::size_t code);
    void TakeLiterals(std::size_t count);
    Copy ReadCopy(std::size_t code);
    void TakeCopy(const Copy& copy);

    ByteSpan input_;
    std::size_t at_ = 0;
    bool isBroken_ = false;
    std::array<std::uint8_t, OutputBytes> output_{};
    std::size_t filled_ = 0;
};

std::size_t Decompressor::LiteralCount(std::size_t code) {
    std::size_t count = code + 8;
    if (count == 0x17) {
        std::size_t more = Next();
        count += more;
        if (more == 0xFF) {
            do {
                more = NextWord();
                count += more;
            } while (more == 0xFFFF);
        }
    }
    return count;
}

std::size_t Decompressor::FirstLiterals() {
    const std::size_t code = Next();
    if (code >> 4U != 2) {
        return LiteralCount(code);
    }
    Next();
    Next();
    return Next() & 7U;
}

void Decompressor::TakeLiterals(std::size_t count) {
    while (count > 0 && !IsFull()) {
        const std::size_t group = count < LiteralGroup ? count : LiteralGroup;
        if (input_.size() - at_ < group) {
            isBroken_ = true;
            return;
        }
        std::size_t behind = group;
        for (std::uint32_t cuts = LiteralCuts[group]; cuts != 0;) {
            const auto start = static_cast<std::size_t>(std::bit_width(cuts) - 1);
            for (std::size_t i = start; i < behind && !IsFull(); ++i) {
                output_[filled_++] = input_[at_ + i];
            }
            behind = start;
            cuts ^= std::uint32_t{1} << start;
        }
        at_ += group;
        count -= group;
    }
}

Decompressor::Copy Decompressor::ReadCopy(std::size_t code) {
    const std::size_t kind = code >> 4U;
    const std::size_t low = code & 0xFU;
    if (kind == 2) {
        const std::size_t offset = NextWord();
        if ((low & 8U) == 0) {
            const std::size_t last = Next();
            return {(low & 7U) + (last & 0xF8U), offset, last & 7U};
        }
        const std::size_t middle = Next();
        const std::size_t last = Next();
        return {(low & 7U) + (middle << 3U) + ((last & 0xF8U) << 8U) + 0x100, offset + 1, last & 7U};
    }
    const std::size_t first = Next();
    if (kind > 2) {
        return {kind, ((first & 0xF8U) << 1U) + low + 1, first & 7U};
    }
    const std::size_t second = Next();
    return kind == 0 ? Copy{low + 0x13 + (second >> 3U & 0x10U), ((second & 0x78U) << 5U) + 1 + first, second & 7U}
                     : Copy{low + 3, ((second & 0xF8U) << 5U) + 1 + first, second & 7U};
}

void Decompressor::TakeCopy(const Copy& copy) {
    if (copy.offset == 0 || copy.offset > filled_) {
        isBroken_ = true;
        return;
    }
    for (std::size_t i = 0; i < copy.length && !IsFull(); ++i) {
        output_[filled_] = output_[filled_ - copy.offset];
        ++filled_;
    }
}

// Every pass consumes input or breaks it.
bool Decompressor::Run() {
    std::size_t literals = FirstLiterals();
    while (!isBroken_ && !IsFull()) {
        std::size_t code = 0;
        if (literals > 0) {
            TakeLiterals(literals);
            code = Next();
        } else {
            code = Next();
            if (code >> 4U == 0) {
                literals = LiteralCount(code);
                continue;
            }
            code = code >> 4U == 0xF ? code & 0xFU : code;
        }
        if (!IsFull()) {
            const Copy copy = ReadCopy(code);
            TakeCopy(copy);
            literals = copy.literals;
        }
    }
    return IsFull();
}

DwgHeader2007 FieldsOf(ByteSpan header) {
    const auto number = [header](std::size_t offset) {
        return static_cast<std::int64_t>(LoadLittle<std::uint64_t>(header, offset));
    };
    return {number(0), number(8), number(0x48)};
}

}  // namespace

std::optional<DwgHeader2007> DecodeDwgHeader2007(ByteSpan encoded) {
    if (encoded.size() < DwgHeader2007Bytes) {
        return std::nullopt;
    }
    std::array<std::uint8_t, Words * WordDataBytes> joined{};
    for (std::size_t i = 0; i < joined.size(); ++i) {
        joined[i] = encoded[i % WordDataBytes * Words + i / WordDataBytes];
    }
    const ByteSpan data = ByteSpan(joined).subspan(DataOffset);
    const auto length = static_cast<std::int32_t>(LoadLittle<std::uint32_t>(joined, LengthOffset));
    // Negative: not compressed.
    if (length < 0) {
        return FieldsOf(data);
    }
    Decompressor decompressor(data.first(std::min<std::size_t>(static_cast<std::size_t>(length), data.size())));
    return decompressor.Run() ? std::optional(FieldsOf(decompressor.Output())) : std::nullopt;
}
