#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <span>

#include "frame/bytes/Bytes.h"

namespace salvor {

/// Signs at a line that a text ends before it and the rest of another one begins with it. They are weighed against all
/// other lines, never alone.
struct SeamSigns {
    /// The share of bytes like the line's first one, as a binary logarithm: among the first bytes of the text's lines
    /// so far, and among all bytes of any text.
    double ownHead = 0;
    double middle = 0;
    /// The line before closes a bracket, a block or an environment.
    bool closes = false;
    bool isAfterBlankLine = false;
    bool isAfterIndent = false;
};

/// Reads a text line by line.
class SeamLines {
public:
    explicit SeamLines(ByteSpan text) : text_(text) {}

    /// Takes the byte at `at`, where the last call ended. Gives the signs of the line that begins after it, if one
    /// does.
    std::optional<SeamSigns> Take(std::size_t at);

private:
    static constexpr std::size_t Kinds = 8;
    static std::size_t KindOf(std::uint8_t byte);

    ByteSpan text_;
    std::size_t lineStart_ = 0;
    // First bytes of lines, by kind.
    std::array<double, Kinds> heads_{};
    double lines_ = 0;
};

}  // namespace salvor
