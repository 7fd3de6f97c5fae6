#include "host/platform/text_conversion.h"

#include <iconv.h>

namespace salvor {

void LoadTextConversions(std::span<const char* const> encodings) {
    for (const char* encoding : encodings) {
        // A converter that is never closed stays loaded.
        static_cast<void>(iconv_open("UTF-8", encoding));
    }
}

}  // namespace salvor
