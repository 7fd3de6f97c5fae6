#include "host/say/failure.h"

#include <system_error>

namespace salvor {

std::string ErrorText(int errorNumber) { return std::generic_category().message(errorNumber); }

}  // namespace salvor
