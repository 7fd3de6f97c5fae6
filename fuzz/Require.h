#pragma once

#include <cstdio>
#include <cstdlib>

/// Ends the process, so that the fuzzer keeps the input, unless the rule holds.
inline void Require(bool holds, const char* rule) {
    if (!holds) {
        std::fprintf(stderr, "broken rule: %s\n", rule);
        std::abort();
    }
}
