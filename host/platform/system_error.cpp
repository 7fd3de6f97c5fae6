#include "host/platform/system_error.h"

#include <cerrno>
#include <system_error>

namespace salvor {

SystemError SystemError::Last() { return SystemError(errno); }
SystemError SystemError::DiskFull() { return SystemError(ENOSPC); }
SystemError SystemError::WrongKind() { return SystemError(EINVAL); }

bool SystemError::IsMissingEntry() const { return code_ == ENOENT; }
bool SystemError::IsTakenName() const { return code_ == EEXIST; }
bool SystemError::IsDiskFull() const { return code_ == ENOSPC || code_ == EDQUOT; }
std::string SystemError::Text() const { return std::generic_category().message(code_); }

}  // namespace salvor
