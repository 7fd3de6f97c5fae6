#pragma once

#include <string_view>

namespace salvor {

// The parts of the page that are the same for every folder. The build makes them from the files in host/report/page.

/// With the placeholders {{policy}}, {{style}}, {{data}}, {{hashes}} and {{script}}, in this order.
extern const std::string_view PageHtml;
extern const std::string_view PageStyle;
extern const std::string_view PageScript;

}  // namespace salvor
