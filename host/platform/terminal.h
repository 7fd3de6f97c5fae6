#pragma once

#include <cstddef>

namespace salvor {

/// The streams on which the user reads the program's messages.
enum class PersonStream { Output, Error };

/// True if the stream is a terminal that shows colours and NO_COLOR is not set.
bool ShowsColours(PersonStream stream);

/// True if standard error is a terminal on which a line can be redrawn.
bool CanRedrawLine();

/// The width in characters of a line on standard error.
std::size_t TerminalColumns();

}  // namespace salvor
