#include "host/validators/text/seam_lines.h"

#include <algorithm>
#include <cmath>
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

bool IsBlank(std::uint8_t byte) { return byte == ' ' || byte == '\t' || byte == '\r'; }

// True for a line that, apart from its indentation, closes what earlier lines have opened.
bool Closes(ByteSpan line) {
    constexpr std::string_view closers[] = {"}", ")", "]", "end", "fi", "done", "#endif", "</", "\\end", "*/", "1;"};
    return std::ranges::any_of(closers, [line](std::string_view closer) {
        return line.size() >= closer.size() && std::equal(closer.begin(), closer.end(), line.begin());
    });
}

}  // namespace

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

std::optional<SeamSigns> SeamLines::Take(std::size_t at) {
    if (at == lineStart_) {
        ++heads_[KindOf(text_[at])];
        ++lines_;
    }
    if (text_[at] != '\n' || at + 1 == text_.size()) {
        return std::nullopt;
    }
    ByteSpan line = text_.subspan(lineStart_, at - lineStart_);
    lineStart_ = at + 1;
    const auto start = std::ranges::find_if_not(line, IsBlank);
    const std::size_t kind = KindOf(text_[lineStart_]);
    SeamSigns signs;
    signs.ownHead = std::log2((heads_[kind] + LinesOfOthers * ShareOfHeads[kind]) / (lines_ + LinesOfOthers));
    signs.middle = std::log2(ShareOfBytes[kind]);
    signs.isAfterBlankLine = start == line.end();
    signs.isAfterIndent = start != line.begin();
    signs.closes = Closes(ByteSpan(start, line.end()));
    return signs;
}

}  // namespace salvor
