#pragma once

namespace salvor {

/// Makes Ctrl-C and SIGTERM ask for a clean end. The same one a second time ends the program at once.
void InstallSignalHandlers();

bool StopRequested();

}  // namespace salvor
