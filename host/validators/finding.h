#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/validators/phrase.h"

namespace salvor {

/// The condition of a file.
enum class Verdict : std::uint8_t {
    /// The structure reaches an end that it declares, and everything before that is consistent.
    Whole,
    /// The format declares no end: the size is where the bytes stop being that format.
    Open,
    /// The structure continues past the medium's end, into another file or into unreadable sectors.
    Truncated,
    /// The structure breaks; the size is where it was last right.
    Damaged,
    /// The bytes at the start were a coincidence: there is no such file.
    NoFile,
};

/// The verdict in lower case, as reports show it.
const char* VerdictName(Verdict verdict);
/// The verdict with this name; nothing for other words.
std::optional<Verdict> VerdictNamed(const std::string& name);

/// A validator's answer about the file at a place.
struct Finding {
    Verdict verdict = Verdict::NoFile;
    /// In bytes from the place's start; 0 for `NoFile`. Never past the medium's end.
    std::int64_t size = 0;
    /// Factory index of the type that fits the file best.
    std::int32_t type = -1;
    /// Without a dot; empty if the type's own extension is right.
    Phrase extension = {};
    /// A short phrase for users: "central directory ends at its comment".
    Phrase why = {};
    /// The text is most likely the rest of a file whose start is elsewhere.
    bool beginsInMiddle = false;
    /// For an `Open` file: its structure cannot be a coincidence, however short it is.
    bool isCertain = false;
    /// For an open file whose own structure was followed from start to end: what begins and ends inside it belongs to
    /// it.
    bool isUnbroken = false;
    bool operator==(const Finding&) const = default;
};

/// Does a file that begins inside this one belong to it?
inline bool Covers(const Finding& finding) {
    return finding.verdict == Verdict::Whole || (finding.verdict == Verdict::Open && finding.isUnbroken);
}

inline Finding Unbroken(Finding finding) {
    finding.isUnbroken = finding.verdict == Verdict::Open;
    return finding;
}

/// The finding for a file with unreadable bytes: such a file is neither whole nor open.
Finding WithUnreadableBytes(Finding finding);

/// The extension of the file that a finding describes, without a dot.
std::string ExtensionOf(const Finding& finding);

}  // namespace salvor
