#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "frame/bytes/Bytes.h"
#include "host/validators/finding.h"
#include "host/validators/place.h"

namespace salvor {

/// Bytes with which files of a format begin, at a fixed place in their first 512 bytes.
struct StartSignature {
    /// Two bytes or more; or one, if `Validator::begins` makes it certain.
    std::string_view bytes;
    std::size_t offset = 0;
    /// Ones where a bit of `bytes` must match; empty if all must.
    std::string_view mask = {};

    /// The mask for a byte of `bytes`.
    std::uint8_t MaskOf(std::size_t i) const { return static_cast<std::uint8_t>(mask.empty() ? 0xFF : mask[i]); }

    bool IsIn(ByteSpan sector) const {
        if (sector.size() < offset + bytes.size()) {
            return false;
        }
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            if (((sector[offset + i] ^ static_cast<std::uint8_t>(bytes[i])) & MaskOf(i)) != 0) {
                return false;
            }
        }
        return true;
    }
};

/// Finds out which file of a format is at a place, where it really ends and whether it is whole. There is one for each
/// format, not for each type: it determines the type. A pure function of the medium's bytes and of the files that begin
/// around the place. If several validators accept a place, the most trusted finding counts.
struct Validator {
    /// When the validator runs.
    enum class Phase : std::uint8_t {
        /// First, knowing only where other files seem to begin.
        Structure,
        /// When the whole files of the first phase are known, for formats whose offsets may lead anywhere.
        Bounded,
        /// Last, for text outside of whole files.
        Text,
    };

    /// In lower case: "zip".
    std::string_view name;
    Phase phase = Phase::Structure;
    /// Looked for at every sector start during the scan, since the library does not report all files that begin so. A
    /// start that no scanner reports becomes a file only if it is found `Whole`, or `Open` with 4 KiB or more of
    /// unbroken structure (the finding's size), or with less and `isCertain`.
    std::span<const StartSignature> starts = {};
    /// Could a file of this format begin with these bytes? `head` is the first sector or more, at least 512 bytes
    /// except at the medium's end. Cheap, and true for few other bytes. Also decides whether the validator judges a
    /// scanner's find.
    bool (*begins)(ByteSpan head);
    /// Called only if `begins` holds. Reads at most a few times the file's size, and ends for any bytes. Once the place
    /// is exhausted, it shows no more bytes, and the finding does not count.
    Finding (*validate)(Place& file);
    /// Factory indices of the types whose finds this validator judges: if it finds no file, the find is dropped. If
    /// empty, it judges all finds for whose start `begins` holds.
    std::span<const std::int32_t> types = {};
    /// False for a format without an end of its own: its files are `Open` at best.
    bool mayBeWhole = true;
};

/// All validators, the most trusted first: if two findings are equally sure, the earlier validator's counts.
std::span<const Validator* const> Validators();

}  // namespace salvor
