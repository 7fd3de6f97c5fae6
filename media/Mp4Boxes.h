#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

#include "formats/BoxWalk.h"

/// The top-level boxes of ISO base media files, those of fragmented files among them. Source: ISO/IEC 14496-12,
/// table 1.
inline constexpr std::array Mp4BoxTypes{BoxTypeOf("ftyp"), BoxTypeOf("pdin"), BoxTypeOf("moov"), BoxTypeOf("moof"),
                                        BoxTypeOf("mfra"), BoxTypeOf("mdat"), BoxTypeOf("free"), BoxTypeOf("frea"),
                                        BoxTypeOf("skip"), BoxTypeOf("meta"), BoxTypeOf("meco"), BoxTypeOf("uuid"),
                                        BoxTypeOf("styp"), BoxTypeOf("sidx"), BoxTypeOf("ssix"), BoxTypeOf("prft")};

inline bool IsMp4Box(std::uint32_t type) { return std::ranges::find(Mp4BoxTypes, type) != Mp4BoxTypes.end(); }
