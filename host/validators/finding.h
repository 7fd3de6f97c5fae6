#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/validators/phrase.h"

namespace salvor {

/// What became of a file.
enum class Verdict : std::uint8_t {
    /// The structure reaches an end that it declares, and everything on the way is consistent.
    Whole,
    /// The format declares no end: the size is where the bytes stop being that format.
    Open,
    /// The structure goes on past the medium's end, into another file or into sectors that cannot be read.
    Truncated,
    /// The structure breaks; the size is the last place that was right.
    Damaged,
    /// The bytes at the start were a coincidence: there is no such file.
    NoFile,
};

/// In lower case, as reports show it.
const char* VerdictName(Verdict verdict);
/// Nothing for a word that names none.
std::optional<Verdict> VerdictNamed(const std::string& name);

/// What a validator says of the file at a place.
struct Finding {
    Verdict verdict = Verdict::NoFile;
    /// In bytes from the place's start, 0 for `NoFile`; never past the medium's end.
    std::int64_t size = 0;
    /// Factory index of the type that fits the file best.
    std::int32_t type = -1;
    /// Without a dot; empty where the type's own is right.
    Phrase extension = {};
    /// One short phrase for people: "central directory ends at its comment".
    Phrase why = {};
    /// Text that is most likely the rest of a file whose start lies elsewhere.
    bool beginsInMiddle = false;
    /// Of an `Open` file: its structure is beyond coincidence however short it is.
    bool isCertain = false;
    /// An open file whose own structure was followed from start to end: what begins and ends inside it is its own.
    bool isUnbroken = false;
    bool operator==(const Finding&) const = default;
};

/// Does what begins inside the file belong to it?
inline bool Covers(const Finding& finding) {
    return finding.verdict == Verdict::Whole || (finding.verdict == Verdict::Open && finding.isUnbroken);
}

inline Finding Unbroken(Finding finding) {
    finding.isUnbroken = finding.verdict == Verdict::Open;
    return finding;
}

/// The finding for a file that holds bytes which could not be read: such a file is neither whole nor open.
Finding WithUnreadableBytes(Finding finding);

/// The extension of the file that a finding describes, without a dot.
std::string ExtensionOf(const Finding& finding);

}  // namespace salvor
