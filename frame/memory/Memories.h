#pragma once

/// What scanners remember of the medium from one candidate to the next saves reading and changes no report. A test
/// says so: it turns all memories off and compares.
struct Memories {
    /// For tests only: every candidate begins without anything remembered.
    // NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables)
    static inline bool areOff = false;
};
