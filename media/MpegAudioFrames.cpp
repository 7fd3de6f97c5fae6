#include "media/MpegAudioFrames.h"

#include <array>

namespace {

constexpr std::uint32_t SyncBits = 0xFFE00000;

enum Version : std::uint32_t { Mpeg25 = 0, ReservedVersion = 1, Mpeg2 = 2, Mpeg1 = 3 };
enum Layer : std::uint32_t { ReservedLayer = 0, LayerIII = 1, LayerII = 2, LayerI = 3 };

// In kbit/s, by the header's index. Index 0 stands for a free bit rate, 15 is forbidden.
using BitRates = std::array<std::int16_t, 16>;
constexpr BitRates Mpeg1LayerI{0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448, -1};
constexpr BitRates Mpeg1LayerII{0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384, -1};
constexpr BitRates Mpeg1LayerIII{0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, -1};
constexpr BitRates Mpeg2LayerI{0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256, -1};
constexpr BitRates Mpeg2LayerII{0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160, -1};
// Not the standard's, which has the rates of Layer II here.
constexpr BitRates Mpeg2LayerIII{0, 8, 16, 24, 32, 64, 80, 56, 64, 128, 160, 112, 128, 256, 320, -1};

std::int32_t BitRateOf(std::uint32_t version, std::uint32_t layer, std::uint32_t index) {
    switch (layer) {
        case LayerI:
            return (version == Mpeg1 ? Mpeg1LayerI : Mpeg2LayerI)[index];
        case LayerII:
            return (version == Mpeg1 ? Mpeg1LayerII : Mpeg2LayerII)[index];
        case LayerIII:
            return (version == Mpeg1 ? Mpeg1LayerIII : Mpeg2LayerIII)[index];
        default:
            return 0;
    }
}

// In Hz; 0 where the version or the index has none.
std::int32_t SamplingRateOf(std::uint32_t version, std::uint32_t index) {
    constexpr std::int32_t rates[4][4] = {
        {11025, 12000, 8000, 0}, {0, 0, 0, 0}, {22050, 24000, 16000, 0}, {44100, 48000, 32000, 0}};
    return rates[version][index];
}

constexpr std::uint32_t Bits(std::uint32_t header, unsigned lowest, unsigned count) {
    return header >> lowest & ((1U << count) - 1);
}

}  // namespace

std::optional<std::int32_t> MpegAudioFrames::LengthOf(std::uint32_t header) {
    if ((header & SyncBits) != SyncBits) {
        return std::nullopt;
    }
    if (!hasFormat_) {
        version_ = Bits(header, 19, 2);
        layer_ = Bits(header, 17, 2);
        hasFormat_ = true;
    }
    if (const std::int32_t rate = SamplingRateOf(version_, Bits(header, 10, 2)); rate != 0) {
        rate_ = rate;
    }
    if (rate_ == 0) {
        return std::nullopt;
    }
    const std::int32_t bitRate = BitRateOf(version_, layer_, Bits(header, 12, 4));
    const auto padding = static_cast<std::int32_t>(Bits(header, 9, 1));
    // A frame of Layer I has 384 samples, in slots of 4 bytes. One of the other layers counts as 1152 samples, although
    // those of Layer III at the lower sampling rates have half as many.
    return layer_ == LayerI ? (bitRate * 12000 / rate_ + padding) * 4 : bitRate * 144000 / rate_ + padding;
}
