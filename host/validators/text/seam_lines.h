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
        // Without blanks at its end.
        std::uint8_t lastByte = 0;
    };
    double OddsOf(const Line& line) const;
    double OddsOfNewLine(std::size_t at) const;
    double OddsInLine(std::size_t at) const;
    void MeasureLine();

    ByteSpan text_;
    std::size_t lineStart_ = 0;
    Line line_;
    Line last_;
    // The last byte of the last line that is not blank.
    std::uint8_t lastByte_ = 0;
    // By this line's length and the indentation of the next; measured for the line that begins at `measuredLine_`.
    double oddsOfNext_ = 0;
    std::size_t measuredLine_ = static_cast<std::size_t>(-1);
    // Open brackets.
    int depth_ = 0;
    // First bytes of lines, by kind.
    std::array<double, Kinds> heads_{};
    double lines_ = 0;
};

}  // namespace salvor
