#pragma once

#include <stdexcept>
#include <string>

namespace salvor {

/// The meaning of the program's exit status.
enum class ExitStatus {
    Done = 0,
    /// Done with losses: sectors that could not be read, files that could not be written.
    Losses = 1,
    Usage = 2,
    NotStarted = 3,
    /// Stopped by the user.
    Stopped = 130,
};

/// Ends the command with one line for the user: what failed, on what, and what to do.
class Failure : public std::runtime_error {
public:
    Failure(ExitStatus status, const std::string& line) : std::runtime_error(line), status_(status) {}
    ExitStatus Status() const { return status_; }

private:
    ExitStatus status_;
};

/// The system's message for an `errno` value.
std::string ErrorText(int errorNumber);

}  // namespace salvor
