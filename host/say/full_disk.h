#pragma once

#include <string>

#include "host/platform/system_error.h"

namespace salvor {

/// The system's message for an error while one of the program's own files was written. If the disk is full, also what
/// to do: the lists of a medium with very many finds may need more room than the files.
std::string WhyNotWritten(const SystemError& error);

}  // namespace salvor
