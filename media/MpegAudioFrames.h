#pragma once

#include <cstdint>
#include <optional>

/// Lengths of the frames of one MPEG audio stream, in file order. All frames count with the version and layer of the
/// first. Source: ISO/IEC 11172-3, section 2.4.2.3; ISO/IEC 13818-3 for the lower sampling rates.
class MpegAudioFrames {
public:
    /// Length in bytes of the next frame, from its header. Nothing if this is not a header, or if no frame so far had a
    /// valid sampling rate. A free or forbidden bit rate gives a length below 4, which may be negative.
    std::optional<std::int32_t> LengthOf(std::uint32_t bits);

private:
    bool hasFormat_ = false;
    // The codes of the header's fields.
    std::uint32_t version_ = 0;
    std::uint32_t layer_ = 0;
    // Sampling rate of the last valid frame, in Hz; 0 for none.
    std::int32_t rate_ = 0;
};
