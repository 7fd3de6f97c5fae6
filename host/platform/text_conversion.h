#pragma once

#include <span>

namespace salvor {

/// Loads what the system needs to convert texts from these encodings to UTF-8, for libraries that do so later, when no
/// file can be opened. Those that the system does not know are left out.
void LoadTextConversions(std::span<const char* const> encodings);

}  // namespace salvor
