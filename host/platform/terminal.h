#pragma once

#include <cstddef>

namespace salvor {

/// The streams on which a person reads what the program says.
enum class PersonStream { Output, Error };

/// True if the stream is a terminal that shows colours and NO_COLOR is not set.
bool ShowsColours(PersonStream stream);

/// True if standard error is a terminal on which a line can be drawn again.
bool CanRedrawLine();

/// Letters that fit into a line of it.
std::size_t TerminalColumns();

}  // namespace salvor
