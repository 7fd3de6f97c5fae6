#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "frame/bytes/Bytes.h"

namespace salvor {

/// How often a text that does not end with a line end ends with this byte.
double ShareOfLastBytes(std::uint8_t byte);

/// Reads a text line by line and tells how likely each of its bytes begins the rest of another text.
class SeamLines {
public:
    explicit SeamLines(ByteSpan text) : text_(text) {}

    /// The odds as natural logarithm, compared with other places of the text, that it ends before the byte at `at` and
    /// the rest of another one begins there, by what the lines look like. This or `Pass` is called once for each byte
    /// from 0 on.
    double Take(std::size_t at);
    void Pass(std::size_t at);

    /// Odds of a place where no text ends.
    static constexpr double Never = -1e9;

private:
    static constexpr std::size_t Kinds = 8;
    static std::size_t KindOf(std::uint8_t byte);

    struct Line {
        bool isBlank = true;
        bool isIndented = false;
        bool closes = false;
        bool hasEndMark = false;
    };
    static double OddsOf(const Line& line);
    double OddsOfNewLine(std::size_t at) const;
    double OddsInLine(std::size_t at) const;
    void NoteHead(std::size_t at);
    void FollowLine(std::size_t at);

    ByteSpan text_;
    std::size_t lineStart_ = 0;
    Line line_;
    Line last_;
    // Open brackets.
    int depth_ = 0;
    // First bytes of lines, by kind.
    std::array<double, Kinds> heads_{};
    double lines_ = 0;
};

}  // namespace salvor
