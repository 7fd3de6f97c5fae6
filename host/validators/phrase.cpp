#include "host/validators/phrase.h"

#include <mutex>
#include <ostream>
#include <unordered_set>

namespace salvor {

Phrase::Phrase(const std::string& text) {
    static std::mutex mutex;
    static std::unordered_set<std::string> kept;
    if (!text.empty()) {
        const std::lock_guard lock(mutex);
        text_ = &*kept.insert(text).first;
    }
}

Phrase::Phrase(const char* text) : Phrase(std::string(text)) {}

const std::string& Phrase::Text() const {
    static const std::string none;
    return text_ == nullptr ? none : *text_;
}

std::ostream& operator<<(std::ostream& stream, const Phrase& phrase) { return stream << phrase.Text(); }

}  // namespace salvor
