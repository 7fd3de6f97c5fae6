#pragma once

#include <cstdint>
#include <optional>

#include "host/medium/candidate_reader.h"

namespace salvor {

/// Size in bytes of a RAF, a camera's raw file: the furthest end of the pieces that its header lists. Nothing if the
/// header is none or if the raw data it places lie outside of `bytes`. A piece that begins inside counts with all its
/// length.
std::optional<std::int64_t> MeasureRaf(CandidateReader& bytes);

}  // namespace salvor
