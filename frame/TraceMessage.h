#pragma once

#include <cstdint>

#if defined(__GNUC__)
[[gnu::format(printf, 1, 2)]]
#endif
/// The diagnostic hook of the scanners, printf-style. It neither formats nor emits anything and returns 0; scanning
/// never depends on it.
std::int32_t
TraceMessage(const char* format, ...);
