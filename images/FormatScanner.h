#pragma once

#include <cstdint>
#include <optional>

#include "formats/PictureWalks.h"
#include "frame/scan/WalkingScanner.h"

/// A walking scanner whose structure is known to the program too: `Format` is one of the walks that they share.
template <class Self, class Format>
class FormatScanner : public WalkingScanner<Self> {
public:
    static bool IsHeader(ByteSpan sector) { return Format::IsHeader(sector); }
    static std::optional<std::int64_t> Walk(FileWindow& file) {
        const std::optional<WalkedFile> walked = Format::Walk(file);
        return walked ? std::optional(walked->size) : std::nullopt;
    }
};
