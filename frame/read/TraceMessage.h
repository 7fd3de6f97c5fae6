#pragma once

#include <cstdint>

#if defined(__GNUC__)
[[gnu::format(printf, 1, 2)]]
#endif
/// The diagnostic hook of the scanners, printf-style. It neither formats nor emits anything and returns 0; scanning
/// never depends on it.
std::int32_t
TraceMessage(const char* format, ...);

/// The same for formats that compilers cannot check: those that stand in a table, or have lengths such as "%I64d".
std::int32_t TraceFormatted(const char* format, ...);
