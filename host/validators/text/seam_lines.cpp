#include "host/validators/text/seam_lines.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <string_view>

#include "host/validators/text/text_bytes.h"

namespace salvor {

namespace {

// The first bytes of lines, by kind: small letters, capital letters, digits, blanks, line ends, marks that open lines,
// other signs, other alphabets.
constexpr std::array<double, 8> ShareOfHeads = {0.22, 0.03, 0.15, 0.27, 0.11, 0.20, 0.02, 0.003};
// How many lines the general shares count for.
constexpr double LinesOfOthers = 4;

// Odds of signs, fitted to two thousand texts with the rest of another one after them. First of the text's last line:
constexpr double OddsAfterLine = 0.9;
constexpr double OddsAfterBlankLine = -0.8;
constexpr double OddsAfterIndent = -1.0;
constexpr double OddsAfterSentence = 1.1;
constexpr double OddsAfterOpening = -0.9;
constexpr double OddsOfCloserAtMargin = 1.8;
constexpr double OddsOfCloserInLine = 1.3;
constexpr double OddsOfEndMark = 2.7;
constexpr double OddsInBrackets = -1.6;
constexpr double WeightOfLastByte = 0.7;
// Then of what comes after it.
constexpr double WeightOfOwnHead = -0.26;
constexpr double OddsOfSmallLetter = 1.4;
constexpr double OddsOfSmallLetterAfterSentence = 1.4;
constexpr double OddsOfSmallLetterInLine = 1.0;
constexpr double OddsOfLineEnd = -1.6;
constexpr double OddsOfSameIndent = -1.6;
constexpr double OddsOfIndentedNext = 1.4;
constexpr double WeightOfLength = 0.19;

bool IsBlank(std::uint8_t byte) { return byte == ' ' || byte == '\t' || byte == '\r'; }
bool IsLineEnd(std::uint8_t byte) { return byte == '\n' || byte == '\r'; }
bool Holds(std::string_view bytes, std::uint8_t byte) {
    return bytes.find(static_cast<char>(byte)) != std::string_view::npos;
}

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
    "EOF",     "EOD",     "endinput", "sourceMapping", "vim:",     "\\bye",  "exit ", "{document}",  "Local Variables",
    "__END__", "</html>", "</svg>",   "END:V",         "showpage", "#endif", "End:",  "End of file", "=cut",
    "-----END"};

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
    return IsBlank(byte) ? 3 : byte >= 0x80 ? 7 : Holds(openers, byte) ? 5 : 6;
}

double SeamLines::OddsOf(const Line& line) const {
    return (line.closes && !line.isIndented ? OddsOfCloserAtMargin : 0) + (line.isIndented ? OddsAfterIndent : 0) +
           (line.hasEndMark ? OddsOfEndMark : 0) + (depth_ > 0 ? OddsInBrackets : 0) + oddsOfNext_;
}

double SeamLines::OddsOfNewLine(std::size_t at) const {
    constexpr std::string_view sentenceEnds = ".!?";
    constexpr std::string_view openings = ":,\\{([=+|&<";
    const std::uint8_t byte = text_[at];
    const std::size_t kind = KindOf(byte);
    const double ownHead = (heads_[kind] + LinesOfOthers * ShareOfHeads[kind]) / (lines_ + LinesOfOthers);
    const bool isAfterSentence = Holds(sentenceEnds, last_.lastByte);
    const bool isSmallLetter = byte >= 'a' && byte <= 'z';
    return OddsAfterLine + WeightOfOwnHead * std::log2(ownHead) + OddsOf(last_) +
           (last_.isBlank ? OddsAfterBlankLine : 0) + (isAfterSentence ? OddsAfterSentence : 0) +
           (Holds(openings, lastByte_) ? OddsAfterOpening : 0) + (isSmallLetter ? OddsOfSmallLetter : 0) +
           (isSmallLetter && isAfterSentence ? OddsOfSmallLetterAfterSentence : 0) +
           (byte == '\n' ? OddsOfLineEnd : 0) + (last_.isIndented && IsBlank(byte) ? OddsOfSameIndent : 0);
}

double SeamLines::OddsInLine(std::size_t at) const {
    const std::uint8_t before = text_[at - 1];
    const bool isGraphic = before > ' ' && before < 0x7F;
    if (!isGraphic) {
        return Never;
    }
    const bool isSmallLetter = text_[at] >= 'a' && text_[at] <= 'z' && !IsLetter(before);
    return OddsOf(line_) + OddsOfLastBytes()[before] + (isSmallLetter ? OddsOfSmallLetterInLine : 0) +
           (line_.closes ? OddsOfCloserInLine : 0);
}

double SeamLines::Take(std::size_t at) {
    if (measuredLine_ != lineStart_) {
        MeasureLine();
    }
    double odds = Never;
    const bool splitsLineEnd = at > 0 && text_[at - 1] == '\r' && text_[at] == '\n';
    if (at > 0 && !splitsLineEnd) {
        odds = IsLineEnd(text_[at - 1]) ? OddsOfNewLine(at) : OddsInLine(at);
    }
    Pass(at);
    return odds;
}

void SeamLines::MeasureLine() {
    const ByteSpan rest = text_.subspan(lineStart_);
    const auto end = std::ranges::find(rest, std::uint8_t{'\n'});
    const bool hasNext = end != rest.end() && end + 1 != rest.end();
    const auto length = static_cast<double>(end - rest.begin() + (end != rest.end() ? 1 : 0));
    measuredLine_ = lineStart_;
    oddsOfNext_ = WeightOfLength * std::log2(1 + length) + (hasNext && IsBlank(end[1]) ? OddsOfIndentedNext : 0);
}

void SeamLines::Pass(std::size_t at) {
    const std::uint8_t byte = text_[at];
    if (at == lineStart_) {
        ++heads_[KindOf(byte)];
        ++lines_;
    }
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
    if (!IsBlank(byte)) {
        if (line_.isBlank) {
            line_.isBlank = false;
            line_.isIndented = at > lineStart_;
            line_.closes = BeginsWithAny(text_.subspan(at), Closers);
        }
        line_.lastByte = byte;
        lastByte_ = byte;
    }
    line_.hasEndMark = line_.hasEndMark || EndsWithMark(text_.subspan(lineStart_, at + 1 - lineStart_));
}

}  // namespace salvor
