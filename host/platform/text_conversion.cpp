#include "host/platform/text_conversion.h"

#include <iconv.h>

#include <bit>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace salvor {

namespace {

struct CloseConverter {
    void operator()(iconv_t converter) const { iconv_close(converter); }
};
using Converter = std::unique_ptr<void, CloseConverter>;

}  // namespace

void LoadTextConversions(std::span<const char* const> encodings) {
    // What a converter needs stays loaded while it is open: until the process ends.
    static std::map<std::string, Converter> converters;
    for (const char* encoding : encodings) {
        if (converters.contains(encoding)) {
            continue;
        }
        // An encoding that the system does not know gives -1.
        const iconv_t opened = iconv_open("UTF-8", encoding);
        if (std::bit_cast<std::intptr_t>(opened) != -1) {
            converters.emplace(encoding, opened);
        }
    }
}

}  // namespace salvor
