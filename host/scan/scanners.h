#pragma once

#include <FileTypeCatalog.h>
#include <IRawFileType.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace salvor {

struct ScannerRelease {
    void operator()(IRawFileType* type) const { type->Release(); }
};
using ScannerPtr = std::unique_ptr<IRawFileType, ScannerRelease>;

/// The scanner of a factory index. Throws `std::bad_alloc` when there is no memory for it.
ScannerPtr CreateScanner(std::int32_t type);

/// All factory indices, ascending.
std::vector<std::int32_t> AllTypes();

/// The extension of a type's files, without a dot.
inline const char* ExtensionOf(std::int32_t type) { return FileTypeCatalog[type].extension; }

/// All indices that a word names: an extension, in any letter case and with or without a dot, or an index. Empty when
/// it names none.
std::vector<std::int32_t> TypesNamed(const std::string& word);

}  // namespace salvor
