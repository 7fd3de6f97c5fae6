#pragma once

#include <cstdint>
#include <optional>

#include "frame/bytes/ByteWindow.h"

/// The kind of QuarkXPress file according to the letters in its header; nothing for books and libraries.
enum class QuarkKind : std::uint8_t { None, Project, Template };

QuarkKind QuarkKindOf(ByteSpan sector);

struct QuarkExtent {
    /// In bytes, up to the last block that one of the chains covers.
    std::int64_t size;
    /// Every chain came to its end.
    bool isComplete;
};

/// The extent of a file with a valid header. A link that leads more than `longestJump` bytes past all blocks that
/// were covered before is broken, unless those blocks take as many bytes.
std::optional<QuarkExtent> FindQuarkExtent(ByteWindow& file, std::int64_t longestJump);
