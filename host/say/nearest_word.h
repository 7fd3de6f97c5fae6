#pragma once

#include <string>
#include <vector>

namespace salvor {

/// The word of the list that was probably meant; empty if none is similar.
std::string NearestWord(const std::string& word, const std::vector<std::string>& words);

/// " (did you mean 'X'?)", or nothing if no word of the list is similar.
std::string MeantText(const std::string& word, const std::vector<std::string>& words);

}  // namespace salvor
