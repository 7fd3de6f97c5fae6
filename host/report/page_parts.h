#pragma once

#include <string_view>

namespace salvor {

// The parts of the page that are the same for every folder; the build makes them from the files in host/report/page.

/// With {{policy}}, {{style}}, {{data}}, {{hashes}} and {{script}} where these go, in this order.
extern const std::string_view PageHtml;
extern const std::string_view PageStyle;
extern const std::string_view PageScript;

}  // namespace salvor
