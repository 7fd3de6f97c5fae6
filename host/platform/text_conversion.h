#pragma once

#include <span>

namespace salvor {

/// Preloads the system's converters from these encodings to UTF-8, for libraries that convert later, when no file can
/// be opened. Unknown encodings are skipped.
void LoadTextConversions(std::span<const char* const> encodings);

}  // namespace salvor
