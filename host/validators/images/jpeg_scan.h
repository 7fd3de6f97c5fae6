#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "frame/bytes/ByteWindow.h"

namespace salvor {

/// The coded data of JPEGs, followed symbol by symbol without decoding the picture. Nothing less shows that bytes
/// inside were overwritten, or where a picture without an end marker ends. Source: ITU-T T.81, annexes F and G.

/// One of the tables that DHT segments define, prepared for looking up.
class JpegHuffmanTable {
public:
    /// `counts` are the numbers of codes of each length, 1 to 16 bits; `values` are their meanings. False if no such
    /// code can exist.
    bool Define(ByteSpan counts, ByteSpan values);
    bool IsDefined() const { return isDefined_; }

    /// The meaning of a code of up to `FastBits` bits at the head of `bits`, and its length in bits; length 0 for
    /// longer codes.
    static constexpr unsigned FastBits = 10;
    struct Code {
        std::uint8_t value = 0;
        std::uint8_t length = 0;
    };
    /// The code at the head of a word of 16 bits; length 0 if there is none.
    Code Find(std::uint32_t bits) const {
        const Code code = fast_[bits >> (16 - FastBits)];
        return code.length != 0 ? code : FindLong(bits);
    }

private:
    Code FindLong(std::uint32_t bits) const;

    bool isDefined_ = false;
    std::array<Code, std::size_t{1} << FastBits> fast_{};
    // By code length: the first number of 16 bits that begins with a longer code, and the start of its values.
    std::array<std::uint32_t, 17> limit_{};
    std::array<std::int32_t, 17> offset_{};
    std::array<std::uint8_t, 256> values_{};
};

/// A component: its fields in the frame header, and the data that its scans have sent so far.
struct JpegComponent {
    std::uint8_t id = 0;
    std::uint8_t horizontal = 1;
    std::uint8_t vertical = 1;
    /// Slot of its quantization table.
    std::uint8_t quantization = 0;
    /// In blocks of 8 by 8 samples: without and with those that only pad units of several components.
    std::int64_t width = 0;
    std::int64_t height = 0;
    std::int64_t paddedWidth = 0;
    std::int64_t paddedHeight = 0;
    /// For each block, a bit for each coefficient that is not zero; needed only in progressive frames.
    std::vector<std::uint64_t> nonzero = {};
};

struct JpegFrame {
    bool isProgressive = false;
    /// Bits of a sample.
    unsigned precision = 8;
    /// Units of several components in each row and column.
    std::int64_t unitsAcross = 0;
    std::int64_t unitsDown = 0;
    std::vector<JpegComponent> components = {};
};

/// A scan's header.
struct JpegScan {
    struct Part {
        JpegComponent* component;
        const JpegHuffmanTable* dc;
        const JpegHuffmanTable* ac;
        /// The largest first coefficient that samples can produce, before the quantization step is applied.
        std::int64_t largestFirst = UnknownLargest;
    };
    static constexpr std::int64_t UnknownLargest = std::int64_t{1} << 62;
    /// The same limit holds in a frame's header.
    static constexpr std::size_t MostParts = 4;
    std::vector<Part> parts = {};
    unsigned firstCoefficient = 0;
    unsigned lastCoefficient = 63;
    /// For successive approximation: the bit that was sent before, 0 in a first scan.
    unsigned highBit = 0;
    /// For successive approximation: the last bit that this scan sends.
    unsigned lowBit = 0;
    /// In units; 0 if there are no restart markers.
    std::uint32_t restartInterval = 0;
};

struct JpegScanEnd {
    /// The offset after the last byte that was used, or where it broke.
    std::int64_t position;
    bool isComplete;
};

/// Follows a scan's data in a file from `start` on.
JpegScanEnd FollowJpegScan(ByteWindow& file, std::int64_t start, const JpegFrame& frame, const JpegScan& scan);

}  // namespace salvor
