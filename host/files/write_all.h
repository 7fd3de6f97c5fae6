#pragma once

#include <cstddef>

namespace salvor {

/// Writes all of it, going on after short and interrupted writes. False with `errno` set when that fails.
bool WriteAll(int fd, const void* data, std::size_t length);

}  // namespace salvor
