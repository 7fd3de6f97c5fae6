#pragma once

#include <cstdint>

#include "host/validators/finding.h"

namespace salvor {

/// What a file that begins inside another one says about that: how far the outer one is to be believed depends on how
/// much of it a validator could check.
class Contradiction {
public:
    /// True for types whose files look whole whatever their bytes are: any other file inside proves them wrong.
    static bool IsCredulous(std::int32_t type);

    /// True if it is worth asking what begins inside a whole file of this type.
    static bool MayBeFound(std::int32_t outerType);

    /// True if `inner`, which begins inside the whole file `outer`, proves that `outer` is not whole. `crosses`:
    /// `inner` ends after it.
    static bool Proves(const Finding& inner, const Finding& outer, bool crosses);
};

}  // namespace salvor
