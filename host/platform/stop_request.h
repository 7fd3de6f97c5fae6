#pragma once

namespace salvor {

/// Makes Ctrl-C, the end of the session and the system's termination request ask for a clean stop. A second request
/// ends the program at once, with status 130 and without writing another byte to a file. A closed pipe and a file that
/// grows too large become failed writes.
void ListenForStop();

/// For a worker process: Ctrl-C and the like are left to the parent.
void LeaveStopToParent();

bool StopRequested();

}  // namespace salvor
