#pragma once

#include <string>

namespace salvor {

/// Why a call of the system failed; a value, so that it can be kept and compared.
class SystemError {
public:
    /// No error.
    SystemError() = default;
    /// That of the last call that failed on this thread.
    static SystemError Last();
    /// The disk has no room left, or the person's share of it is used up.
    static SystemError DiskFull();
    /// The entry is something else than what was to be opened.
    static SystemError WrongKind();

    explicit operator bool() const { return code_ != 0; }
    bool operator==(const SystemError&) const = default;
    bool IsMissingEntry() const;
    bool IsTakenName() const;
    bool IsDiskFull() const;
    /// The system's text for people.
    std::string Text() const;

private:
    explicit SystemError(int code) : code_(code) {}

    int code_ = 0;
};

}  // namespace salvor
