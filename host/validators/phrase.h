#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>

namespace salvor {

/// A short text that many findings share, in the size of a number: each text is stored once, until the program ends.
/// Any thread may create one.
class Phrase {
public:
    Phrase() = default;
    Phrase(const std::string& text);  // NOLINT(google-explicit-constructor)
    Phrase(const char* text);         // NOLINT(google-explicit-constructor)

    const std::string& Text() const;
    operator const std::string&() const { return Text(); }  // NOLINT(google-explicit-constructor)
    bool empty() const { return number_ == 0; }
    bool operator==(const Phrase&) const = default;
    friend std::ostream& operator<<(std::ostream& stream, const Phrase& phrase);

private:
    // Counted from 1; 0 is the empty text.
    std::uint32_t number_ = 0;
};

}  // namespace salvor
