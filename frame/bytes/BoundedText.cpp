#include "frame/bytes/BoundedText.h"

#include <cstddef>
#include <cstring>

void CopyBoundedText(char* buffer, std::uint32_t capacity, const char* text) {
    const auto count = static_cast<std::int32_t>(capacity - 1U);
    if (buffer == nullptr || text == nullptr || count <= 0) {
        return;
    }
    std::strncpy(buffer, text, static_cast<std::size_t>(count));
}
