#pragma once

#include "tests/support/Numbers.h"

namespace test {

/// A help file: its header, the directory at `HelpDirectory` with one page, and some text.
inline constexpr std::size_t HelpDirectory = 16;
Bytes HelpFile();

/// A compiled help file of the container's version 2 or 3.
Bytes CompiledHelpFile(std::uint32_t version = 3);

}  // namespace test
