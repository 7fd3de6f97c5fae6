#pragma once

#include "tests/support/Medium.h"

namespace test {

/// Writes a number at an offset, least significant byte first.
void SetLittle(Bytes& bytes, std::size_t offset, std::uint64_t value, std::size_t width);

/// A help file: its header, the directory at `HelpDirectory` with one page, and some text.
inline constexpr std::size_t HelpDirectory = 16;
Bytes HelpFile();

/// A compiled help file of the container's version 2 or 3.
Bytes CompiledHelpFile(std::uint32_t version = 3);

}  // namespace test
