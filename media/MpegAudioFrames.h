#pragma once

#include <cstdint>
#include <optional>

/// Lengths of the frames of one stream of MPEG audio, in file order. The first frame decides the version and the layer
/// of all. Source: ISO/IEC 11172-3, section 2.4.2.3; ISO/IEC 13818-3 for the lower sampling rates.
class MpegAudioFrames {
public:
    /// Length in bytes of the next frame by its header; nothing if this is no header, or if no frame so far has told
    /// the sampling rate. A bit rate that is free or forbidden gives a length below 4, which may be negative.
    std::optional<std::int32_t> LengthOf(std::uint32_t header);

private:
    bool hasFormat_ = false;
    // The codes of the header's fields.
    std::uint32_t version_ = 0;
    std::uint32_t layer_ = 0;
    // Of the frame before, in Hz; 0 for none.
    std::int32_t rate_ = 0;
};
