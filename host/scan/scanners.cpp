#include "host/scan/scanners.h"

#include <IRawFileTypeFactory.h>
#include <strings.h>

#include <charconv>
#include <new>
#include <numeric>

namespace salvor {

ScannerPtr CreateScanner(std::int32_t type) {
    ScannerPtr scanner(GetRawFileTypeFactory()->Create(type));
    if (!scanner) {
        throw std::bad_alloc();
    }
    return scanner;
}

std::vector<std::int32_t> AllTypes() {
    std::vector<std::int32_t> types(FileTypeCount);
    std::iota(types.begin(), types.end(), 0);
    return types;
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
