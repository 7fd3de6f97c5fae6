#pragma once

#include <string>
#include <vector>

namespace salvor {

/// The possible names of the part after this one of a split image: `card.002` for `card.001`, `card.ab` for `card.aa`,
/// `card.1000` for `card.999`, `card.za` or `card.zaaa` for `card.yz`. None if the name is not that of a part.
std::vector<std::string> NextPartNames(const std::string& name);

/// The possible names of the first part of the same image, which may be this one: `card.000` and `card.001`, or
/// `card.aa`. None if the name is not that of a part.
std::vector<std::string> FirstPartNames(const std::string& name);

}  // namespace salvor
