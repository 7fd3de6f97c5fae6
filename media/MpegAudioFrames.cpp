#include "media/MpegAudioFrames.h"

#include <array>

#include "formats/MpegAudioHeader.h"

namespace {

// In kbit/s. These differ from the standard, which has the rates of Layer II here.
constexpr std::array<std::int16_t, 16> Mpeg2LayerIII{0,  8,   16,  24,  32,  64,  80,  56,
                                                     64, 128, 160, 112, 128, 256, 320, -1};

std::int32_t BitRateOf(std::uint32_t version, std::uint32_t layer, std::uint32_t index) {
    const bool isOwn = version != MpegAudioHeader::Mpeg1 && layer == MpegAudioHeader::LayerIII;
    return isOwn ? Mpeg2LayerIII[index] : MpegAudioHeader::BitRate(version, layer, index);
}

}  // namespace

std::optional<std::int32_t> MpegAudioFrames::LengthOf(std::uint32_t bits) {
    const MpegAudioHeader header{bits};
    if (!header.HasSync()) {
        return std::nullopt;
    }
    if (!hasFormat_) {
        version_ = header.VersionCode();
        layer_ = header.LayerCode();
        hasFormat_ = true;
    }
    if (const std::int32_t rate = MpegAudioHeader::SamplingRate(version_, header.RateIndex()); rate != 0) {
        rate_ = rate;
    }
    if (rate_ == 0) {
        return std::nullopt;
    }
    const std::int32_t bitRate = BitRateOf(version_, layer_, header.BitRateIndex());
    const auto padding = static_cast<std::int32_t>(header.Padding());
    // A frame of Layer I has 384 samples, in slots of 4 bytes. All other frames count as 1152 samples, although those
    // of Layer III at the lower sampling rates have 576.
    return layer_ == MpegAudioHeader::LayerI ? (bitRate * 12000 / rate_ + padding) * 4
                                             : bitRate * 144000 / rate_ + padding;
}
