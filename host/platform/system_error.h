#pragma once

#include <string>

namespace salvor {

/// The reason why a system call failed; a value, so that it can be stored and compared.
class SystemError {
public:
    /// No error.
    SystemError() = default;
    /// The error of the last failed call on this thread.
    static SystemError Last();
    /// The disk is full, or the user's quota is used up.
    static SystemError DiskFull();
    /// The entry is not of the expected kind.
    static SystemError WrongKind();

    explicit operator bool() const { return code_ != 0; }
    bool operator==(const SystemError&) const = default;
    bool IsMissingEntry() const;
    bool IsTakenName() const;
    bool IsDiskFull() const;
    /// The system's message.
    std::string Text() const;

private:
    explicit SystemError(int code) : code_(code) {}

    int code_ = 0;
};

}  // namespace salvor
