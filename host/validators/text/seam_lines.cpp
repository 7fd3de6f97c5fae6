#include "host/validators/text/seam_lines.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <string_view>

#include "host/validators/text/text_bytes.h"

namespace salvor {

namespace {

// By kind: small letters, capital letters, digits, blanks, line ends, marks that open lines, other signs, other
// alphabets. Shares of all bytes of texts, and of the first bytes of lines.
constexpr std::array<double, 8> ShareOfBytes = {0.57, 0.08, 0.03, 0.13, 0.02, 0.08, 0.05, 0.03};
constexpr std::array<double, 8> ShareOfHeads = {0.22, 0.03, 0.15, 0.27, 0.11, 0.20, 0.02, 0.003};
// How many lines the general shares count for.
constexpr double LinesOfOthers = 4;

// Odds of signs, fitted to two thousand texts with the rest of another one after them.
constexpr double OddsInsideLine = -4.4;
constexpr double OddsOfSmallLetterInLine = 2.0;
constexpr double OddsOfCloserInLine = 0.8;
constexpr double OddsOfCloserAtMargin = 1.3;
constexpr double OddsAfterBlankLine = -0.9;
constexpr double OddsAfterIndent = -1.6;
constexpr double OddsInBrackets = -4.8;
constexpr double OddsOfEndMark = 2.5;
constexpr double WeightOfLastByte = 0.43;
constexpr double WeightOfOwnHead = -0.27;
constexpr double WeightOfMiddle = 0.76;

bool IsBlank(std::uint8_t byte) { return byte == ' ' || byte == '\t' || byte == '\r'; }
bool IsLineEnd(std::uint8_t byte) { return byte == '\n' || byte == '\r'; }

bool BeginsWithAny(ByteSpan bytes, std::span<const std::string_view> words) {
    return std::ranges::any_of(words, [bytes](std::string_view word) {
        return bytes.size() >= word.size() && std::equal(word.begin(), word.end(), bytes.begin());
    });
}

// Closes what earlier lines have opened.
constexpr std::string_view Closers[] = {"}",  ")",     "]",  "end", "fi",   "done",  "#endif",
                                        "</", "\\end", "*/", "1;",  "esac", "%%EOF", "-->"};

// Stand in the last line of a file.
constexpr std::string_view EndMarks[] = {
    "EOF",     "EOD",     "endinput", "sourceMapping", "vim:",     "\\bye", "exit ", "{document}", "Local Variables",
    "__END__", "</html>", "</svg>",   "END:V",         "showpage", "#endif"};

// Most bytes end no such mark.
constexpr std::array<bool, 256> EndEndMarks = [] {
    std::array<bool, 256> ends{};
    for (const std::string_view mark : EndMarks) {
        ends[static_cast<std::uint8_t>(mark.back())] = true;
    }
    return ends;
}();

bool EndsWithMark(ByteSpan bytes) {
    return EndEndMarks[bytes.back()] && std::ranges::any_of(EndMarks, [bytes](std::string_view mark) {
               return bytes.size() >= mark.size() && std::equal(mark.rbegin(), mark.rend(), bytes.rbegin());
           });
}

// The odds that a text ends in a line, by the last byte.
const std::array<double, 256>& OddsOfLastBytes() {
    static const std::array<double, 256> odds = [] {
        std::array<double, 256> made{};
        for (std::size_t byte = 0; byte < made.size(); ++byte) {
            made[byte] = WeightOfLastByte * std::log2(ShareOfLastBytes(static_cast<std::uint8_t>(byte)));
        }
        return made;
    }();
    return odds;
}

}  // namespace

double ShareOfLastBytes(std::uint8_t byte) {
    switch (byte) {
        case '>':
            return 0.33;
        case '}':
            return 0.15;
        case ';':
        case '.':
        case '"':
            return 0.1;
        case ']':
        case ')':
            return 0.03;
        default:
            return IsLetter(byte) || IsDigit(byte) ? 0.003 : byte >= 0x80 ? 0.0005 : 0.002;
    }
}

std::size_t SeamLines::KindOf(std::uint8_t byte) {
    constexpr std::string_view openers = "#/<*-%\\\"'{[(;.@";
    if (IsLetter(byte)) {
        return byte >= 'a' ? 0 : 1;
    }
    if (IsDigit(byte)) {
        return 2;
    }
    if (byte == '\n' || byte == '\r') {
        return 4;
    }
    return IsBlank(byte)                                                     ? 3
           : byte >= 0x80                                                    ? 7
           : openers.find(static_cast<char>(byte)) != std::string_view::npos ? 5
                                                                             : 6;
}

double SeamLines::OddsOf(const Line& line) {
    return (line.closes && !line.isIndented ? OddsOfCloserAtMargin : 0) + (line.isIndented ? OddsAfterIndent : 0) +
           (line.hasEndMark ? OddsOfEndMark : 0);
}

double SeamLines::OddsOfNewLine(std::size_t at) const {
    const std::size_t kind = KindOf(text_[at]);
    const double ownHead = (heads_[kind] + LinesOfOthers * ShareOfHeads[kind]) / (lines_ + LinesOfOthers);
    return WeightOfOwnHead * std::log2(ownHead) + WeightOfMiddle * std::log2(ShareOfBytes[kind]) +
           (last_.isBlank ? OddsAfterBlankLine : 0) + OddsOf(last_);
}

double SeamLines::OddsInLine(std::size_t at) const {
    const std::uint8_t before = text_[at - 1];
    const bool isGraphic = before > ' ' && before < 0x7F;
    if (!isGraphic) {
        return Never;
    }
    const bool isSmallLetter = text_[at] >= 'a' && text_[at] <= 'z' && !IsLetter(before);
    return OddsInsideLine + OddsOfLastBytes()[before] + (isSmallLetter ? OddsOfSmallLetterInLine : 0) +
           (line_.closes ? OddsOfCloserInLine : 0) + OddsOf(line_);
}

double SeamLines::Take(std::size_t at) {
    NoteHead(at);
    double odds = Never;
    const bool splitsLineEnd = at > 0 && text_[at - 1] == '\r' && text_[at] == '\n';
    if (at > 0 && !splitsLineEnd) {
        odds = IsLineEnd(text_[at - 1]) ? OddsOfNewLine(at) : OddsInLine(at);
        odds += depth_ > 0 ? OddsInBrackets : 0;
    }
    FollowLine(at);
    return odds;
}

void SeamLines::Pass(std::size_t at) {
    NoteHead(at);
    FollowLine(at);
}

void SeamLines::NoteHead(std::size_t at) {
    if (at == lineStart_) {
        ++heads_[KindOf(text_[at])];
        ++lines_;
    }
}

void SeamLines::FollowLine(std::size_t at) {
    const std::uint8_t byte = text_[at];
    if (byte == '{' || byte == '[' || byte == '(') {
        ++depth_;
    } else if (depth_ > 0 && (byte == '}' || byte == ']' || byte == ')')) {
        --depth_;
    }
    if (byte == '\n') {
        last_ = line_;
        line_ = {};
        lineStart_ = at + 1;
        return;
    }
    if (line_.isBlank && !IsBlank(byte)) {
        line_.isBlank = false;
        line_.isIndented = at > lineStart_;
        line_.closes = BeginsWithAny(text_.subspan(at), Closers);
    }
    line_.hasEndMark = line_.hasEndMark || EndsWithMark(text_.subspan(lineStart_, at + 1 - lineStart_));
}

}  // namespace salvor
