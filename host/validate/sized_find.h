#pragma once

#include "host/scan/scan_session.h"

namespace salvor {

/// Who said how large a file is.
enum class SizeSource {
    /// The scanner.
    Reported,
    /// The host, from the file's own structure.
    Measured,
    /// Nobody: the file is taken to end where something else begins or where files of its type do at the latest.
    Bounded,
};

constexpr const char* SizeSourceName(SizeSource source) {
    switch (source) {
        case SizeSource::Reported:
            return "reported";
        case SizeSource::Measured:
            return "measured";
        case SizeSource::Bounded:
            return "bounded";
    }
    return "";
}

/// A find whose size is decided.
struct SizedFind {
    /// Its size is 0 or negative where the scanner's is and nothing better is known.
    Find find;
    SizeSource source = SizeSource::Reported;
    /// The size is the largest that a file of this type may have, so the file may go on behind it.
    bool atCap = false;
    bool operator==(const SizedFind&) const = default;
};

}  // namespace salvor
