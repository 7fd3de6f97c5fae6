#pragma once

#include <FileTypeCatalog.h>
#include <IRawFileType.h>

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace salvor {

struct ScannerRelease {
    void operator()(IRawFileType* type) const { type->Release(); }
};
using ScannerPtr = std::unique_ptr<IRawFileType, ScannerRelease>;

/// The scanner of a factory index. Throws `std::bad_alloc` if there is no memory for it.
ScannerPtr CreateScanner(std::int32_t type);

/// All factory indices, ascending.
std::vector<std::int32_t> AllTypes();

/// The extension of a type's files, without a dot.
inline const char* ExtensionOf(std::int32_t type) { return FileTypeCatalog[type].extension; }

/// All indices that a word names: an extension, in any letter case and with or without a dot, another spelling of one,
/// an index, or a group such as "photos". Empty if it names none.
std::vector<std::int32_t> TypesNamed(const std::string& word);

/// The same; throws `Failure` (usage) for a word that names none. `option` is where the word was given.
std::vector<std::int32_t> RequireTypes(const std::string& option, const std::string& word);

/// Types with one name for users.
struct TypeGroup {
    std::string_view name;
    /// Ascending.
    std::vector<std::int32_t> types;
};
std::span<const TypeGroup> TypeGroups();

/// All words that name types, except indices and other spellings: groups, then extensions.
std::vector<std::string> TypeWords();

}  // namespace salvor
