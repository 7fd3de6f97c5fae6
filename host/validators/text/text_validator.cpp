#include <FileTypeCatalog.h>

#include <algorithm>
#include <string>
#include <string_view>

#include "host/validators/text/mail_fields.h"
#include "host/validators/text/markup.h"
#include "host/validators/text/text_bytes.h"
#include "host/validators/text/text_kinds.h"
#include "host/validators/text/text_run.h"
#include "host/validators/text/text_seams.h"
#include "host/validators/text/text_starts.h"
#include "host/validators/validator.h"

namespace salvor {

namespace {

using FileTypeIndex::Text;

// In bytes.
constexpr std::size_t LookedAt = 4096;
// Shorter runs of printable bytes occur in random data once in several gigabytes.
constexpr std::int64_t LeastBeforeBinary = 48;
constexpr std::int64_t LeastBeforeString = 512;
constexpr std::int64_t LeastOfCodePage = 256;
constexpr std::int64_t LeastOfOneLine = 4096;

// The kinds of bytes at a text's start.
struct TextMix {
    std::size_t all = 0;
    std::size_t letters = 0;
    std::size_t digits = 0;
    std::size_t blanks = 0;
    std::size_t lineEnds = 0;
    std::size_t high = 0;
    // Bytes equal to the one before.
    std::size_t repeated = 0;

    explicit TextMix(ByteSpan bytes) : all(bytes.size()) {
        std::uint8_t before = 0;
        for (const std::uint8_t byte : bytes) {
            letters += IsLetter(byte) ? 1U : 0U;
            digits += IsDigit(byte) ? 1U : 0U;
            blanks += byte == ' ' || byte == '\t' ? 1U : 0U;
            lineEnds += byte == '\n' || (byte == '\r') ? 1U : 0U;
            high += byte >= 0x80 ? 1U : 0U;
            repeated += byte == before ? 1U : 0U;
            before = byte;
        }
    }

    // True for a whole line, mostly of words.
    bool IsLine() const {
        constexpr std::size_t least = 20;
        return all >= least && lineEnds > 0 && (letters + digits + blanks) * 10 >= all * 6;
    }

    // True if words and blanks are as frequent as in a language.
    bool IsLanguage() const {
        return blanks * 20 >= all && blanks * 3 <= all && (letters + high) * 2 >= all && repeated * 4 <= all;
    }
};

Finding NoText(const char* why) {
    Finding finding;
    finding.why = why;
    return finding;
}

// True if a single zero follows, as after the strings in a program.
bool IsString(Place& file, std::int64_t end) {
    const ByteSpan bytes = file.From(end);
    const std::size_t next = EndOfPlain(bytes, 0);
    return next < bytes.size() && bytes[next] == 0;
}

Finding TextOf(std::int64_t size, const char* why, bool beginsInMiddle, const char* extension = "") {
    return {.verdict = Verdict::Open,
            .size = size,
            .type = Text,
            .extension = extension,
            .why = why,
            .beginsInMiddle = beginsInMiddle};
}

// In a file's first line, only titles and numbers are likely to be indented.
bool IsIndentedRest(ByteSpan head) {
    const auto start = std::ranges::find_if_not(head, [](std::uint8_t byte) { return byte == ' '; });
    if (start == head.begin() || start == head.end()) {
        return false;
    }
    const bool isTitle = (*start >= 'A' && *start <= 'Z') || IsDigit(*start) || *start == '#' || *start == '/';
    return start - head.begin() == 1 ? !IsDigit(*start) && *start != '#' : !isTitle;
}

// True if text with this start is most likely the rest of a file.
bool BeginsInMiddle(ByteSpan head) {
    if (head.empty()) {
        return false;
    }
    constexpr std::string_view closers = ")]},;:?!";
    const std::uint8_t first = head[0];
    const std::uint8_t second = head.size() > 1 ? head[1] : 0;
    const bool isStop = (first == '.' || first == '>') && (second == ' ' || second == '\n' || second == '\r');
    return (first & 0xC0) == 0x80 || closers.find(static_cast<char>(first)) != std::string_view::npos || isStop ||
           StartsWith(head, PatternOf("</")) || BeginsInWord(head) || IsIndentedRest(head);
}

// True if these units belong to scripts in use, unlike machine code. With `hasLines`, line ends are required too.
bool IsWritten(ByteSpan units, bool isBigEndian, bool hasLines) {
    const auto isWrittenBlock = [](unsigned block) {
        return block <= 0x06 || (block >= 0x09 && block <= 0x0E) || block == 0x10 || block == 0x1E || block == 0x1F ||
               (block >= 0x20 && block <= 0x26) || block == 0x30 || (block >= 0x4E && block <= 0x9F) ||
               (block >= 0xAC && block <= 0xDF) || block == 0xFE || block == 0xFF;
    };
    std::size_t lineEnds = 0;
    std::size_t repeated = 0;
    std::uint16_t before = 0;
    for (std::size_t at = 0; at + 2 <= units.size(); at += 2) {
        const auto unit = isBigEndian ? LoadBig<std::uint16_t>(units, at) : LoadLittle<std::uint16_t>(units, at);
        if (!isWrittenBlock(unit >> 8U)) {
            return false;
        }
        lineEnds += unit == '\n' ? 1U : 0U;
        repeated += unit == before ? 1U : 0U;
        before = unit;
    }
    return (lineEnds >= 2 || !hasLines) && repeated * 4 <= units.size();
}

Finding ValidateUtf16(Place& file, bool isBigEndian, bool hasMark) {
    constexpr std::int64_t leastUnits = 16;
    constexpr std::int64_t leastUnitsWithoutMark = 256;
    constexpr std::int64_t looked = 512;
    const std::int64_t start = hasMark ? 2 : 0;
    const TextRun run = FollowUtf16(file, start, isBigEndian);
    const std::int64_t units = (run.end - start) / 2;
    const bool isEnough = units >= (hasMark ? leastUnits : leastUnitsWithoutMark) ||
                          (hasMark && units > 0 && run.behind == TextRun::Behind::Zeros);
    const ByteSpan head = file.From(start, 2);
    const auto shown = std::min<std::size_t>(head.size(), static_cast<std::size_t>(2 * std::min(units, looked)));
    if (!isEnough || !IsWritten(head.first(shown), isBigEndian, !hasMark)) {
        return NoText("pairs of bytes, but no text");
    }
    return TextOf(run.end, "UTF-16 as far as it is text", /*beginsInMiddle=*/false);
}

bool Begins(ByteSpan head) { return MayBeginText({}, head); }

bool IsOtherKind(Place& file, ByteSpan head) {
    const bool mayBeLetter = FieldNameLength(head) > 0 || StartsWith(head, PatternOf("From "));
    if (BeginsWithMarkup(head)) {
        return IsPage(file) || IsXmlDocument(file) || IsBookmarkFile(file);
    }
    return IsRichText(head) || IsCard(head) || (mayBeLetter && IsLetter(file));
}

// Why printable bytes before binary data are not text; null if they are.
const char* WhyNotBeforeBinary(Place& file, const TextRun& run, std::int64_t length, ByteSpan head,
                               const TextMix& mix) {
    // Where files begin at clusters, fewer places can be one by chance.
    const bool isWordLine = file.ClusterBytes() > 0 ? IsShortWordLine(head) : IsWordLine(head);
    if ((length < LeastBeforeBinary && !isWordLine) || (run.isCodePage && length < LeastOfCodePage)) {
        return "too short in front of binary data";
    }
    const bool isString = IsString(file, run.end);
    if (isString && length < LeastOfOneLine && (mix.lineEnds < 4 || length < LeastBeforeString) &&
        (mix.lineEnds < 1 || !MayOpenFile(head))) {
        return "strings of a program";
    }
    // Programs write data in one long line.
    const bool isWords = mix.IsLanguage() || mix.IsLine() || isWordLine || length >= LeastOfOneLine;
    return mix.lineEnds < 2 && !isWords ? "printable bytes without lines or words" : nullptr;
}

// The part of a text that is examined.
ByteSpan TextHead(Place& file, const TextRun& run) {
    const ByteSpan bytes = file.From(0, LookedAt);
    return bytes.first(std::min(bytes.size(), static_cast<std::size_t>(std::min<std::int64_t>(run.end, LookedAt))));
}

Finding Validate(Place& file) {
    if (IsOtherKind(file, file.From(0, LookedAt))) {
        return NoText("a document of another kind");
    }
    const ByteSpan start = file.From(0, LookedAt);
    if (StartsWith(start, Utf16LittleMark) || StartsWith(start, Utf16BigMark)) {
        return ValidateUtf16(file, start[0] == Utf16BigMark[0], /*hasMark=*/true);
    }
    if (start.size() > 1 && start[1] == 0) {
        return ValidateUtf16(file, /*isBigEndian=*/false, /*hasMark=*/false);
    }
    const auto marked = static_cast<std::int64_t>(StartsWith(start, Utf8Mark) ? Utf8Mark.size() : 0);
    TextRun run = FollowText(file, marked);
    if (run.end <= marked) {
        return NoText("no text");
    }
    EndAtSeam(file, marked, run, BeginsInMiddle(TextHead(file, run)));
    const std::int64_t length = run.end - marked;
    const ByteSpan head = TextHead(file, run);
    if (head.empty()) {
        return NoText("no text");
    }
    const TextMix mix(head.subspan(static_cast<std::size_t>(marked)));
    if (run.behind == TextRun::Behind::Binary) {
        if (const char* const why = WhyNotBeforeBinary(file, run, length, head, mix)) {
            return NoText(why);
        }
    }
    if (mix.repeated * 10 >= mix.all * 9) {
        return NoText("one character repeated");
    }
    const char* const why = run.behind == TextRun::Behind::Zeros       ? "text up to zeros"
                            : run.behind == TextRun::Behind::OtherFile ? "text up to another file's start"
                            : run.behind == TextRun::Behind::Binary    ? "text up to binary data"
                                                                       : "text up to the medium's end";
    return TextOf(run.end, why, BeginsInMiddle(head), PostScriptExtension(head));
}

constexpr std::int32_t Types[] = {FileTypeIndex::Text};

}  // namespace

const char* PostScriptExtension(ByteSpan head) {
    constexpr std::string_view blanks = "\r\n ";
    constexpr std::size_t versionEnd = 14;
    if (head.size() < 4 || !StartsWith(head, PatternOf("%!"))) {
        return "";
    }
    if (StartsWith(head, PatternOf("%!PS-AdobeFont")) || StartsWith(head, PatternOf("%!FontType"))) {
        return "pfa";
    }
    if (HasPatternAt(head, versionEnd, PatternOf(" EPSF"))) {
        return "eps";
    }
    const bool isProgram =
        (head[2] == 'P' && head[3] == 'S') || blanks.find(static_cast<char>(head[2])) != std::string_view::npos;
    return isProgram ? "ps" : "";
}

extern const Validator TextValidator;
const Validator TextValidator{.name = "text",
                              .phase = Validator::Phase::Text,
                              .starts = {},
                              .begins = Begins,
                              .validate = Validate,
                              .types = Types,
                              .mayBeWhole = false};

}  // namespace salvor
