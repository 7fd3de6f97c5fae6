#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/bytes/Bytes.h"

/// Offset of the size in a RIFF file, or in another format of the same shape. It counts what follows it.
inline constexpr std::size_t RiffSizeOffset = 4;
/// The bytes before what that size counts.
inline constexpr std::int64_t RiffHeaderBytes = 8;
/// Offset of the form's type.
inline constexpr std::size_t RiffFormOffset = 8;
inline constexpr auto RiffSignature = PatternOf("RIFF");
