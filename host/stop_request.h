#pragma once

namespace salvor {

/// Makes Ctrl-C and SIGTERM ask for a clean end. A second one ends the program at once.
void InstallSignalHandlers();

bool StopRequested();

}  // namespace salvor
