#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/bytes/Bytes.h"

/// Where a RIFF file, or one of the other forms of chunks in its shape, has the size of what follows it.
inline constexpr std::size_t RiffSizeOffset = 4;
/// Bytes in front of what that size counts.
inline constexpr std::int64_t RiffHeaderBytes = 8;
/// Where the form says its type.
inline constexpr std::size_t RiffFormOffset = 8;
inline constexpr auto RiffSignature = PatternOf("RIFF");
