#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "formats/TiffDirectory.h"

/// What the entries of one directory give, taken entry by entry.
class TiffValue {
public:
    explicit TiffValue(Endian order) : order_(order) {}

    void Take(const TiffEntry& entry);

    /// The last single 32-bit number so far; an entry with anything else leaves the previous number. 0 at first.
    std::uint32_t Number() const { return number_; }
    std::uint16_t LowNumber() const { return static_cast<std::uint16_t>(number_); }

    /// Replaces `text` with the entry's own bytes; with nothing if they are stored elsewhere.
    template <std::size_t N>
    void CopyTextTo(std::array<char, N>& text) const {
        static_assert(N > sizeof(TiffEntry::value), "there is a zero behind the text");
        text = {};
        for (std::size_t i = 0; i < textBytes_; ++i) {
            text[i] = static_cast<char>(text_[i]);
        }
    }

private:
    Endian order_;
    std::uint32_t number_ = 0;
    std::array<std::uint8_t, sizeof(TiffEntry::value)> text_{};
    std::size_t textBytes_ = 0;
};

/// Texts end with a zero.
struct TiffTexts {
    std::array<char, 256> make{};
    std::array<char, 128> model{};
    std::array<char, 128> dateTime{};
    std::array<char, 256> documentName{};
    std::array<char, 256> imageDescription{};
    std::array<char, 256> software{};
};

/// What the first directory of a TIFF or raw file says. A field keeps its value until an entry sets it, even from one
/// file to the next.
struct TiffFields {
    std::uint32_t imageWidth = 0;
    std::uint32_t imageLength = 0;
    std::uint32_t stripOffset = 0;
    std::uint32_t stripByteCount = 0;
    std::uint32_t rowsPerStrip = 0;
    std::uint32_t planarConfiguration = 0;
    std::uint16_t compression = 0;
    std::uint16_t bitsPerSample = 0;
    std::uint32_t samplesPerPixel = 0;
    std::uint32_t exifOffset = 0;
    TiffTexts texts;

    /// Sets the fields that entries with this tag set; other tags set no field. The value has taken the entry already.
    void Set(std::uint16_t tag, const TiffValue& value);
};
