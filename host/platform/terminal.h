#pragma once

#include <cstddef>

namespace salvor {

/// True if standard error is a terminal on which a line can be drawn again.
bool CanRedrawLine();

/// Letters that fit into a line of it.
std::size_t TerminalColumns();

}  // namespace salvor
