#include "host/validators/phrase.h"

#include <deque>
#include <mutex>
#include <ostream>
#include <string_view>
#include <unordered_map>

namespace salvor {

namespace {

// All texts of phrases so far. A deque never moves its elements.
struct Kept {
    std::mutex mutex;
    std::deque<std::string> texts{std::string()};
    std::unordered_map<std::string_view, std::uint32_t> numbers;
};

Kept& AllKept() {
    static Kept kept;
    return kept;
}

}  // namespace

Phrase::Phrase(const std::string& text) {
    if (text.empty()) {
        return;
    }
    Kept& kept = AllKept();
    const std::lock_guard lock(kept.mutex);
    const auto known = kept.numbers.find(text);
    if (known != kept.numbers.end()) {
        number_ = known->second;
        return;
    }
    number_ = static_cast<std::uint32_t>(kept.texts.size());
    kept.texts.push_back(text);
    kept.numbers.emplace(kept.texts.back(), number_);
}

Phrase::Phrase(const char* text) : Phrase(std::string(text)) {}

const std::string& Phrase::Text() const {
    Kept& kept = AllKept();
    const std::lock_guard lock(kept.mutex);
    return kept.texts[number_];
}

std::ostream& operator<<(std::ostream& stream, const Phrase& phrase) { return stream << phrase.Text(); }

}  // namespace salvor
