#include "host/platform/text_conversion.h"

#include <iconv.h>

#include <map>
#include <memory>
#include <string>

namespace salvor {

namespace {

// Closing what an unknown encoding gives only fails.
struct CloseConverter {
    void operator()(iconv_t converter) const { iconv_close(converter); }
};
using Converter = std::unique_ptr<void, CloseConverter>;

}  // namespace

void LoadTextConversions(std::span<const char* const> encodings) {
    // What a converter needs stays loaded while it is open: until the process ends.
    static std::map<std::string, Converter> converters;
    for (const char* encoding : encodings) {
        if (!converters.contains(encoding)) {
            converters.emplace(encoding, iconv_open("UTF-8", encoding));
        }
    }
}

}  // namespace salvor
