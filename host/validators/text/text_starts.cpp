#include "host/validators/text/text_starts.h"

#include <algorithm>
#include <iterator>
#include <span>
#include <string>
#include <string_view>

#include "host/validators/text/mail_fields.h"

namespace salvor {

namespace {

// In bytes.
constexpr std::size_t HeadBytes = 512;
constexpr std::size_t LeastBeforeZeros = 1;
constexpr std::size_t LeastBeforeBinary = 48;
constexpr std::size_t LeastOfWordLine = 16;
constexpr std::size_t LeastOfShortWordLine = 10;
constexpr std::size_t LeastOfSmallWord = 6;
constexpr std::size_t LeastOfCodePage = 256;
constexpr std::size_t TailThatTells = 8;
constexpr std::size_t TailThatTellsOfCodePage = 48;
// In units of two bytes.
constexpr std::size_t LeastUnits = 16;
constexpr std::size_t LeastUnitsWithoutMark = 256;

constexpr std::uint8_t DosEnd = 0x1A;

// `text` is in lower case.
bool StartsWithFolded(ByteSpan bytes, std::string_view text) {
    return bytes.size() >= text.size() && std::ranges::equal(bytes.first(text.size()), text, {}, [](std::uint8_t byte) {
               return static_cast<char>(byte >= 'A' && byte <= 'Z' ? byte + 0x20 : byte);
           });
}

bool BeginsMarkup(ByteSpan sector) {
    return StartsWithFolded(sector, "<!doctype") || StartsWithFolded(sector, "<html") ||
           StartsWithFolded(sector, "<?xml");
}

// Words that files of code and settings begin with.
constexpr std::string_view OpeningWords[] = {
    "class",  "config",  "const",   "deb",     "def",    "define",  "export",  "extern",  "from",   "function",
    "http",   "https",   "import",  "include", "int",    "let",     "library", "load",    "module", "namespace",
    "option", "package", "private", "program", "public", "require", "set",     "static",  "struct", "syntax",
    "type",   "typedef", "unit",    "use",     "uses",   "using",   "var",     "version", "void",
};
static_assert(std::ranges::is_sorted(OpeningWords));

// Marks that stand at a file's start, and in hardly any text without a line end before them.
bool BeginsWithMark(ByteSpan head) {
    constexpr std::string_view marks[] = {"{\\rtf", "BEGIN:VCARD", "BEGIN:VCALENDAR", "%!PS", "#!/", "\xEF\xBB\xBF"};
    return std::ranges::any_of(marks, [head](std::string_view mark) {
        return head.size() >= mark.size() && std::equal(mark.begin(), mark.end(), head.begin());
    });
}

// The text after the first line end.
ByteSpan SecondLine(ByteSpan head) {
    const auto end = std::ranges::find(head, std::uint8_t{'\n'});
    return {end == head.end() ? end : end + 1, head.end()};
}

// A comment of several lines at the margin, though `before` is a byte of the same line. Comments inside a text stand
// after blanks; rows of one character, addresses and lists are no comments.
bool OpensWithComment(std::uint8_t before, ByteSpan head) {
    constexpr std::string_view marks[] = {"// ", "//\n", "# ",   "#\n",    "% ",  "%%",
                                          "-- ", "; ",   "dnl ", ".\\\" ", "REM "};
    const auto beginsWith = [](ByteSpan line, std::string_view mark) {
        return line.size() >= mark.size() && std::equal(mark.begin(), mark.end(), line.begin());
    };
    const ByteSpan second = SecondLine(head);
    if (beginsWith(head, "/*")) {
        return before != '/' && before != '*' && (beginsWith(second, " *") || beginsWith(second, "*"));
    }
    const auto* const mark = std::ranges::find_if(marks, [&](std::string_view one) { return beginsWith(head, one); });
    const bool isApart = before == ' ' || before == '\t' || before == ':' || before == head[0];
    return mark != std::end(marks) && !isApart && beginsWith(second, mark->substr(0, mark->size() - 1));
}

// True if the first units are text in UTF-16 without control characters; mostly Latin letters if `isLatin`.
bool IsUtf16Text(ByteSpan bytes, bool isBigEndian, std::size_t least, bool isLatin) {
    const std::size_t units = std::min(bytes.size() / 2, least);
    for (std::size_t i = 0; i < units; ++i) {
        const std::uint16_t unit =
            isBigEndian ? LoadBig<std::uint16_t>(bytes, 2 * i) : LoadLittle<std::uint16_t>(bytes, 2 * i);
        const bool isText = unit < 0x80 ? IsPlainByte(static_cast<std::uint8_t>(unit)) : unit >= 0xA0 && unit < 0xFFFE;
        if (unit == 0 && i > 0 && !isLatin) {
            return IsZeroFrom(bytes, 2 * i);
        }
        if (!isText || (isLatin && unit >= 0x100)) {
            return false;
        }
    }
    return units > 0 && (units == least || !isLatin);
}

bool BeginsUtf16(ByteSpan head) {
    if (StartsWith(head, Utf16LittleMark) || StartsWith(head, Utf16BigMark)) {
        return IsUtf16Text(head.subspan(2), head[0] == Utf16BigMark[0], LeastUnits, /*isLatin=*/false);
    }
    return head.size() > 1 && head[1] == 0 &&
           IsUtf16Text(head, /*isBigEndian=*/false, std::min(LeastUnitsWithoutMark, HeadBytes / 2), /*isLatin=*/true);
}

// Does `tail` end in the middle of a text that `head` continues?
bool IsRunning(ByteSpan tail, ByteSpan head) {
    if (tail.size() < TailThatTells) {
        return false;
    }
    ByteSpan last = tail.last(TailThatTells);
    // Skips a character that is cut by the tail's start.
    std::size_t cut = 0;
    while (cut < 3 && (last[cut] & 0xC0) == 0x80) {
        ++cut;
    }
    if (EndOfUtf8(last, cut) == last.size()) {
        return true;
    }
    const auto isHigh = [](std::uint8_t byte) {
        return byte >= 0x80;
    };
    // Binary data have FF in pairs, texts in a code page hardly ever.
    const auto areSet = [](std::uint8_t byte, std::uint8_t next) {
        return (byte & next) == 0xFF;
    };
    return tail.size() >= TailThatTellsOfCodePage && EndOfAnyText(tail, 0) == tail.size() &&
           std::ranges::adjacent_find(tail, areSet) == tail.end() && std::ranges::any_of(head, isHigh);
}

bool IsRunningUtf16(ByteSpan tail) {
    return tail.size() >= TailThatTellsOfCodePage &&
           IsUtf16Text(tail.last(TailThatTellsOfCodePage), /*isBigEndian=*/false, TailThatTellsOfCodePage / 2,
                       /*isLatin=*/true);
}

bool IsLongEnough(ByteSpan head) {
    std::size_t end = EndOfUtf8(head, 0);
    while (end + 1 < head.size() && head[end] == Escape && IsPlainByte(head[end + 1])) {
        end = EndOfUtf8(head, end + 1);
    }
    if (end == head.size() || IsShortWordLine(head.first(end))) {
        return true;
    }
    const bool endsInZeros = [head](std::size_t at) {
        return head[at] == 0 ? IsZeroFrom(head, at) : head[at] == DosEnd && IsZeroFrom(head, at + 1);
    }(end);
    if (head[end] < 0x80 || end >= LeastBeforeBinary) {
        return end >= (endsInZeros ? LeastBeforeZeros : LeastBeforeBinary);
    }
    const std::size_t anyEnd = EndOfAnyText(head, end);
    return anyEnd >= std::min(LeastOfCodePage, head.size()) ||
           (head[anyEnd] == 0 && anyEnd >= LeastBeforeBinary && IsZeroFrom(head, anyEnd));
}

// Tests all bytes at once.
template <std::size_t Count>
bool HasControl(std::span<const std::uint8_t, Count> bytes) {
    std::uint8_t any = 0;
    for (const std::uint8_t byte : bytes) {
        any = static_cast<std::uint8_t>(any | (IsControlByte(byte) ? 0xFF : 0));
    }
    return any != 0;
}

// The length of the first line with its end if it consists of words only, or 0.
std::size_t WordLineBytes(ByteSpan text) {
    const auto isWordByte = [](std::uint8_t byte) {
        return IsLetter(byte) || IsDigit(byte) || byte == '_' || byte == '-' || byte == '.' || byte == ' ';
    };
    const auto end = std::ranges::find_if_not(text, isWordByte);
    return end != text.end() && *end == '\n' ? static_cast<std::size_t>(end - text.begin()) + 1 : 0;
}

// The first bytes of most binary data show that they are not text. False only if it cannot be text.
bool MayBePlain(ByteSpan head) {
    constexpr std::size_t looked = 32;
    if (head.size() < looked) {
        return true;
    }
    if (HasControl(head.first<looked>())) {
        if (head.back() != 0) {
            return IsShortWordLine(head);
        }
        const std::uint8_t first = *std::ranges::find_if(head, IsControlByte);
        return first == 0 || first == DosEnd || IsShortWordLine(head);
    }
    if (head.size() < LeastBeforeBinary || head.back() == 0 ||
        !HasControl(head.subspan<looked, LeastBeforeBinary - looked>())) {
        return true;
    }
    // So few bytes before binary data are text only if they begin with a line of words.
    const auto isHigh = [](std::uint8_t byte) {
        return byte >= 0x80;
    };
    return StartsWith(head, Utf8Mark) || std::ranges::none_of(head.first<LeastOfWordLine>(), isHigh);
}

// A string in a program, followed by a long text that begins like a file but in the middle of a line.
bool BreaksString(ByteSpan tail, ByteSpan head) {
    constexpr std::string_view lineBreaks = "\n\r";
    return EndOfAnyText(tail, 0) < tail.size() &&
           lineBreaks.find(static_cast<char>(tail.back())) == std::string_view::npos &&
           (MayOpenFile(head) || head[0] >= 0x80) && EndOfAnyText(head, 0) == head.size() &&
           std::ranges::count(head, std::uint8_t{'\n'}) >= 2;
}

}  // namespace

bool BreaksIntoText(ByteSpan tail, ByteSpan head) {
    if (tail.empty() || head.empty()) {
        return false;
    }
    const std::uint8_t before = tail.back();
    if (before == '\n' || before == '\r') {
        return false;
    }
    if (BeginsMarkup(head) || BeginsWithMark(head) || OpensWithComment(before, head)) {
        return true;
    }
    if (!IsLetter(head[0]) || !BeginsLetter(head)) {
        return false;
    }
    // Quoted mail, and field names that are broken across lines.
    ByteSpan line(std::find(tail.rbegin(), tail.rend(), std::uint8_t{'\n'}).base(), tail.end());
    const auto isQuote = [](std::uint8_t byte) {
        return byte == '>' || byte == ' ' || byte == '\t' || byte == '|';
    };
    return before != '-' && !std::ranges::all_of(line, isQuote);
}

bool BeginsLikeFile(ByteSpan head) {
    constexpr std::string_view marks = "#/<{[%;\"'-*=.@!(\\$\xEF";
    const auto first = static_cast<char>(head[0]);
    return (first >= 'A' && first <= 'Z') || marks.find(first) != std::string_view::npos;
}

bool BeginsInWord(ByteSpan head) {
    const auto wordEnd = std::ranges::find_if_not(
        head, [](std::uint8_t byte) { return IsLetter(byte) || IsDigit(byte) || byte == '_' || byte == '-'; });
    const std::string word(head.begin(), wordEnd);
    const ByteSpan behind(wordEnd, head.end());
    if (word.empty() || word[0] < 'a' || word[0] > 'z' || behind.empty() ||
        std::ranges::binary_search(OpeningWords, word)) {
        return false;
    }
    const bool isBlank = behind[0] == ' ' || behind[0] == '\t';
    const std::uint8_t next = isBlank && behind.size() > 1 ? behind[1] : behind[0];
    constexpr std::string_view givers = "=:(\n\r{.[\t /@";
    return givers.find(static_cast<char>(next)) == std::string_view::npos;
}

bool MayOpenFile(ByteSpan head) {
    return BeginsLikeFile(head) || (head[0] >= 'a' && head[0] <= 'z' && !BeginsInWord(head));
}

bool IsWordLine(ByteSpan text) { return WordLineBytes(text) >= LeastOfWordLine; }

bool IsShortWordLine(ByteSpan text) {
    const std::size_t bytes = WordLineBytes(text);
    const auto isSmall = [](std::uint8_t byte) {
        return (byte >= 'a' && byte <= 'z') || byte == '_';
    };
    return bytes >= LeastOfShortWordLine ||
           (bytes >= LeastOfSmallWord && std::ranges::all_of(text.first(bytes - 1), isSmall));
}

bool BeginsText(ByteSpan previousTail, ByteSpan sector) {
    const ByteSpan head = sector.first(std::min(sector.size(), HeadBytes));
    if (head.size() > 1 && (head[0] >= Utf16BigMark[0] || head[1] == 0)) {
        return BeginsUtf16(head) && !IsRunningUtf16(previousTail);
    }
    if (!MayBePlain(head) ||
        (IsRunning(previousTail, head) && !BreaksIntoText(previousTail, head) && !BreaksString(previousTail, head))) {
        return false;
    }
    return IsLongEnough(head.subspan(StartsWith(head, Utf8Mark) ? Utf8Mark.size() : 0));
}

}  // namespace salvor
