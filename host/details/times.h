#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace salvor {

/// "2021-05-04T12:33:10" for seconds since 1970; empty for 1970 itself and earlier, which clocks show that were never
/// set, and after 9999.
std::string TimeOfSeconds(std::int64_t seconds);

/// The same for units of 100 ns since 1601, as Windows counts.
std::string TimeOfFileTime(std::uint64_t units);

/// The same for a time that formats write as text: "2021-05-04T12:33:10.5Z", "2021:05:04 12:33:10",
/// "D:20210504123310+02'00'" and "Tue May  4 12:33:10 2021". Clock and zone may be missing; empty for anything else.
std::string TimeIn(std::string_view text);

}  // namespace salvor
