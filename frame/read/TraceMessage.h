#pragma once

#include <cstdint>

#if defined(__GNUC__)
[[gnu::format(printf, 1, 2)]]
#endif
/// The diagnostic hook of the scanners, printf-style. It neither formats nor emits anything and returns 0; scanning
/// never depends on it.
inline std::int32_t
TraceMessage(const char* /*format*/, ...) {
    return 0;
}

/// The same for formats that compilers cannot check: those from a table, or with lengths such as "%I64d".
inline std::int32_t TraceFormatted(const char* /*format*/, ...) { return 0; }
