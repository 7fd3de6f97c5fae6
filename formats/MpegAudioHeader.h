#pragma once

#include <array>
#include <cstdint>

/// The fields of an MPEG audio frame's header, 32 bits with the first byte highest, and the standards' tables for them.
/// Source: ISO/IEC 11172-3, section 2.4.2.3; ISO/IEC 13818-3, section 2.4.2.3, for the lower
/// sampling rates; those below 16 kHz are an extension, known as MPEG-2.5.
struct MpegAudioHeader {
    enum Version : std::uint32_t { Mpeg25 = 0, ReservedVersion = 1, Mpeg2 = 2, Mpeg1 = 3 };
    enum Layer : std::uint32_t { ReservedLayer = 0, LayerIII = 1, LayerII = 2, LayerI = 3 };

    std::uint32_t bits;

    constexpr bool HasSync() const { return (bits & 0xFFE00000U) == 0xFFE00000U; }
    constexpr std::uint32_t VersionCode() const { return Field(19, 2); }
    constexpr std::uint32_t LayerCode() const { return Field(17, 2); }
    constexpr bool HasChecksum() const { return Field(16, 1) == 0; }
    constexpr std::uint32_t BitRateIndex() const { return Field(12, 4); }
    constexpr std::uint32_t RateIndex() const { return Field(10, 2); }
    constexpr std::uint32_t Padding() const { return Field(9, 1); }
    constexpr bool IsMono() const { return Field(6, 2) == 3; }

    /// In kbit/s: 0 for a free bit rate and a reserved layer, negative for the forbidden index.
    static constexpr std::int32_t BitRate(std::uint32_t version, std::uint32_t layer, std::uint32_t index) {
        switch (layer) {
            case LayerI:
                return (version == Mpeg1 ? Mpeg1LayerI : Mpeg2LayerI)[index];
            case LayerII:
                return (version == Mpeg1 ? Mpeg1LayerII : Mpeg2Others)[index];
            case LayerIII:
                return (version == Mpeg1 ? Mpeg1LayerIII : Mpeg2Others)[index];
            default:
                return 0;
        }
    }

    /// In Hz; 0 where the version or the index has none.
    static constexpr std::int32_t SamplingRate(std::uint32_t version, std::uint32_t index) {
        return SamplingRates[version][index];
    }

    /// The bits that all frames of a stream share: sync word, version, layer and sampling rate.
    static constexpr std::uint32_t SteadyBits = 0xFFFE0C00U;

    /// Whether no field has a reserved or forbidden value.
    constexpr bool IsValid() const {
        return HasSync() && LayerCode() != ReservedLayer && SamplingRate(VersionCode(), RateIndex()) != 0 &&
               BitRate(VersionCode(), LayerCode(), BitRateIndex()) >= 0;
    }

    /// The frame's bytes, for a valid header. `freeLength` is the length without padding where the bit rate is free.
    constexpr std::int32_t FrameBytes(std::int32_t freeLength) const {
        const std::int32_t bitRate = BitRate(VersionCode(), LayerCode(), BitRateIndex());
        const std::int32_t rate = SamplingRate(VersionCode(), RateIndex());
        const auto padding = static_cast<std::int32_t>(Padding());
        if (bitRate == 0) {
            return freeLength + (LayerCode() == LayerI ? 4 * padding : padding);
        }
        if (LayerCode() == LayerI) {
            // 384 samples, in slots of 4 bytes.
            return (bitRate * 12000 / rate + padding) * 4;
        }
        // 1152 samples; half of that in Layer III at the lower sampling rates.
        const bool isHalf = LayerCode() == LayerIII && VersionCode() != Mpeg1;
        return bitRate * (isHalf ? 72000 : 144000) / rate + padding;
    }

private:
    using Rates = std::array<std::int16_t, 16>;
    static constexpr Rates Mpeg1LayerI{0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448, -1};
    static constexpr Rates Mpeg1LayerII{0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384, -1};
    static constexpr Rates Mpeg1LayerIII{0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, -1};
    static constexpr Rates Mpeg2LayerI{0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256, -1};
    static constexpr Rates Mpeg2Others{0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160, -1};
    static constexpr std::int32_t SamplingRates[4][4] = {
        {11025, 12000, 8000, 0}, {0, 0, 0, 0}, {22050, 24000, 16000, 0}, {44100, 48000, 32000, 0}};

    constexpr std::uint32_t Field(unsigned lowest, unsigned count) const {
        return bits >> lowest & ((1U << count) - 1);
    }
};
