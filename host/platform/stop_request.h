#pragma once

namespace salvor {

/// Makes Ctrl-C, the end of the session and a request of the system to end ask for a clean stop. Asked for once more,
/// the program ends at once, with status 130 and without another byte written to a file. A closed pipe and a file that
/// grows too large become failed writes.
void ListenForStop();

/// In a process that works for another one: Ctrl-C and the like are that one's business.
void LeaveStopToParent();

bool StopRequested();

}  // namespace salvor
