#include "scanners.h"

#include <IRawFileTypeFactory.h>
#include <strings.h>

#include <charconv>

namespace salvor {

ScannerPtr CreateScanner(std::int32_t type) { return ScannerPtr(GetRawFileTypeFactory()->Create(type)); }

std::vector<std::int32_t> BuiltTypes() {
    std::vector<std::int32_t> built;
    for (std::int32_t type = 0; type < FileTypeCount; ++type) {
        if (CreateScanner(type)) {
            built.push_back(type);
        }
    }
    return built;
}

std::vector<std::int32_t> TypesNamed(const std::string& word) {
    std::int32_t index = -1;
    const char* const end = word.data() + word.size();
    if (const auto [stop, error] = std::from_chars(word.data(), end, index);
        stop == end && error == std::errc() && index >= 0 && index < FileTypeCount) {
        return {index};
    }
    const char* const extension = word.c_str() + (word.starts_with('.') ? 1 : 0);
    std::vector<std::int32_t> types;
    for (std::int32_t type = 0; type < FileTypeCount; ++type) {
        if (strcasecmp(extension, ExtensionOf(type)) == 0) {
            types.push_back(type);
        }
    }
    return types;
}

}  // namespace salvor
