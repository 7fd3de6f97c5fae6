#pragma once

#include <cstdint>
#include <optional>

#include "host/medium/candidate_reader.h"

namespace salvor {

/// Size in bytes of an X3F, a camera's raw file. Its header does not say where it ends, so the directory is looked for
/// that ends it and that knows its own place. Nothing if `bytes` do not hold one.
std::optional<std::int64_t> MeasureX3f(CandidateReader& bytes);

}  // namespace salvor
