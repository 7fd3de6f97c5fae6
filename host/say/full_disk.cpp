#include "host/say/full_disk.h"

namespace salvor {

std::string WhyNotWritten(const SystemError& error) {
    const char* const advice =
        "; free some space, or keep the lists on a larger disk: 'salvor scan IMAGE --report FINDS' there, then 'salvor "
        "validate FINDS' and 'salvor extract FINDS --out DIR'";
    return error.Text() + (error.IsDiskFull() ? advice : "");
}

}  // namespace salvor
