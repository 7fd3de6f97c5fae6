#pragma once

#include <cstdint>
#include <string>

#include "host/platform/system_error.h"

namespace salvor {

/// A draft is complete but still has its temporary name. `Known` and `SameBytes` leave no file.
enum class WriteOutcome { Written, AlreadyThere, Draft, Known, SameBytes, Failed, Stopped };

/// The result of writing one planned file.
struct WriteResult {
    WriteOutcome outcome = WriteOutcome::Failed;
    /// The SHA-256 of the file's bytes, in lower-case hexadecimal; empty unless the file is there.
    std::string sha256;
    /// Bytes that could not be read and were written as zeros.
    std::int64_t unreadableBytes = 0;
    /// The reason of a failure, for the user.
    std::string error;
    bool diskIsFull = false;
    /// The run was stopped before the file's details were read. A resumed run does not trust such a file's record: it
    /// compares the file and reads the details.
    bool lacksDetails = false;
    /// The path of the file that holds the same bytes.
    std::string sameAs = {};

    void Fail(const SystemError& why) {
        error = why.Text();
        diskIsFull = why.IsDiskFull();
    }
};

}  // namespace salvor
