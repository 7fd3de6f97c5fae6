#pragma once

#include <string>
#include <vector>

namespace salvor {

/// The word of the list that was most likely meant by one that is not in it; empty if none is near.
std::string NearestWord(const std::string& word, const std::vector<std::string>& words);

/// "; is 'X' meant?", or nothing if no word of the list is near.
std::string MeantText(const std::string& word, const std::vector<std::string>& words);

}  // namespace salvor
