#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

#include "frame/contract/FileTypeCatalog.h"

/// What a host must expect of the reports of certain types, by factory index.
namespace test {

/// The size may be 0: the host decides where the file ends.
inline bool MayReportNoSize(std::int32_t index) {
    constexpr std::array<std::int32_t, 13> types{34, 52, 53, 54, 55, 56, 57, 58, 59, 60, 61, 81, 106};
    return std::ranges::find(types, index) != types.end();
}

/// The size is the file's own word: neither capped nor free of negative numbers.
inline bool MayReportAnySize(std::int32_t index) {
    constexpr std::array<std::int32_t, 3> types{60, 66, 108};
    return std::ranges::find(types, index) != types.end();
}

/// The size is that of the file's boxes, or 0 where an audio file is not measured; no cap that a host sets changes it.
inline bool MayExceedCap(std::int32_t index) { return index >= 17 && index <= 21; }

/// Engines and the range of the last file found outlive a scan, so the next one may give something else.
inline bool KeepsStateOverScans(std::int32_t index) {
    constexpr std::array<std::int32_t, 10> alone{22, 25, 34, 52, 54, 56, 59, 60, 81, 106};
    return FileTypeCatalog[index].maxSize == CapInEngine || std::ranges::find(alone, index) != alone.end();
}

/// Every run of letters is a text file, also the one at the start of a file of another type.
inline constexpr std::int32_t PlainText = 28;

/// True if the type may report this size under a cap, which is the catalogue's unless the host has set another one.
inline bool IsSaneSize(std::int32_t index, std::int64_t size, std::int64_t cap) {
    if (MayReportAnySize(index)) {
        return true;
    }
    if (MayExceedCap(index)) {
        constexpr std::int32_t audio = 19;
        return size > 0 || (size == 0 && index == audio);
    }
    // Engines limit sizes in their own way; those of camera raws give no size at all.
    const bool isCapped = FileTypeCatalog[index].maxSize > 0 && !KeepsStateOverScans(index);
    const bool mayBeZero = cap == 0 || MayReportNoSize(index);
    return (size > 0 || (size == 0 && mayBeZero)) && (!isCapped || size <= cap);
}

}  // namespace test
