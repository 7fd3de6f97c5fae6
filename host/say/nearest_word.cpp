#include "host/say/nearest_word.h"

#include <algorithm>
#include <cstddef>

namespace salvor {

namespace {

// How many letters must be inserted, removed or changed to turn one word into the other.
std::size_t Distance(const std::string& a, const std::string& b) {
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) {
        row[j] = j;
    }
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t before = row[0]++;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t changed = before + (a[i - 1] == b[j - 1] ? 0 : 1);
            before = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, changed});
        }
    }
    return row.back();
}

}  // namespace

std::string NearestWord(const std::string& word, const std::vector<std::string>& words) {
    std::string nearest;
    // With more than a third of its letters wrong, it is a different word.
    std::size_t least = std::max<std::size_t>(word.size() / 3, 1) + 1;
    for (const std::string& one : words) {
        const std::size_t distance = one.starts_with(word) && word.size() > 2 ? 1 : Distance(word, one);
        if (distance < least) {
            least = distance;
            nearest = one;
        }
    }
    return nearest;
}

std::string MeantText(const std::string& word, const std::vector<std::string>& words) {
    const std::string nearest = NearestWord(word, words);
    return nearest.empty() ? "" : " (did you mean '" + nearest + "'?)";
}

}  // namespace salvor
