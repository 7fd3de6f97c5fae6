#include "host/scan/scanners.h"

#include <IRawFileTypeFactory.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <new>
#include <numeric>
#include <string_view>

namespace salvor {

namespace {

bool IsSameWord(std::string_view a, std::string_view b) {
    return std::ranges::equal(a, b,
                              [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}

}  // namespace

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
    const std::string_view extension = std::string_view(word).substr(word.starts_with('.') ? 1 : 0);
    std::vector<std::int32_t> types;
    for (std::int32_t type = 0; type < FileTypeCount; ++type) {
        if (IsSameWord(extension, ExtensionOf(type))) {
            types.push_back(type);
        }
    }
    return types;
}

}  // namespace salvor
