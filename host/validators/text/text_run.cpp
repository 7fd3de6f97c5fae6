#include "host/validators/text/text_run.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>

#include "host/validators/text/mail_fields.h"
#include "host/validators/text/seam_lines.h"
#include "host/validators/text/text_bytes.h"
#include "host/validators/text/text_starts.h"

namespace salvor {

namespace {

constexpr std::uint8_t DosEnd = 0x1A;
constexpr std::uint8_t Backspace = 0x08;

// In bytes: how much is examined after a byte that interrupts a text.
constexpr std::size_t ControlWindow = 256;
constexpr std::size_t LeastControlWindow = 16;
constexpr std::size_t CodePageWindow = 128;
constexpr std::size_t ShareWindow = 512;
// If bytes are interrupted this early, they are not text.
constexpr std::int64_t LeastBeforeControls = 256;
constexpr std::size_t HeadBytes = 512;

bool IsSpace(std::uint8_t byte) { return byte == ' ' || static_cast<std::uint8_t>(byte - '\t') < 5; }

// The share of letters beyond ASCII. A run of equal bytes counts once, since such runs draw frames.
struct HighShare {
    std::size_t high = 0;
    std::size_t spaces = 0;
    std::size_t all = 0;

    explicit HighShare(ByteSpan bytes) {
        std::uint8_t before = 0;
        for (const std::uint8_t byte : bytes) {
            if (byte != before || byte < 0x80) {
                high += byte >= 0x80 ? 1U : 0U;
                spaces += IsSpace(byte) ? 1U : 0U;
                ++all;
            }
            before = byte;
        }
    }
};

// True for text in East Asian code pages, which has few blanks.
bool AreCharactersOfTwo(ByteSpan bytes) {
    std::size_t at = 0;
    while (at + 1 < bytes.size()) {
        const bool isPair = bytes[at] > 0x80;
        if (isPair && (bytes[at + 1] < 0x40 || bytes[at + 1] == 0x7F)) {
            return false;
        }
        at += isPair ? 2 : 1;
    }
    return true;
}

class TextFollower {
public:
    TextFollower(Place& file, std::int64_t from) : file_(file), from_(from), at_(from) {}

    TextRun Run() {
        while (!isOver_ && !file_.IsExhausted()) {
            const ByteSpan bytes = file_.From(at_, 4);
            if (bytes.empty()) {
                break;
            }
            const bool isLast = at_ + static_cast<std::int64_t>(bytes.size()) >= file_.Limit();
            std::size_t length = run_.isCodePage ? EndOfAnyText(bytes, 0) : EndOfUtf8(bytes, 0);
            const bool isWhole = length == bytes.size();
            if (isWhole && !isLast && !run_.isCodePage) {
                length -= CutCharacter(bytes);
            }
            const std::size_t start = NextStart(bytes, length);
            at_ += static_cast<std::int64_t>(start);
            if (start < length) {
                PassStart();
            } else if (!isWhole) {
                PassOther(bytes[length]);
            }
        }
        run_.end = at_ + extra_;
        run_.printableEnd = run_.end;
        return run_;
    }

private:
    // Bytes of a character that is cut by the piece's end.
    static std::size_t CutCharacter(ByteSpan bytes) {
        for (std::size_t back = 1; back <= std::min<std::size_t>(3, bytes.size() - 1); ++back) {
            const std::uint8_t byte = bytes[bytes.size() - back];
            if (byte >= 0xC0) {
                const std::size_t length = byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
                return length > back ? back : 0;
            }
        }
        return 0;
    }

    void Stop(TextRun::Behind behind) {
        run_.behind = behind;
        isOver_ = true;
    }

    // The first sector start within `length` at which another file may begin; `length` if there is none.
    std::size_t NextStart(ByteSpan bytes, std::size_t length) const {
        constexpr std::string_view openings = "<{%#B/-;d.R\xEF";
        const std::int64_t sectorSize = file_.SectorSize();
        std::int64_t sector = (std::max(at_, passedStart_ + 1) + sectorSize - 1) / sectorSize * sectorSize;
        for (; sector < at_ + static_cast<std::int64_t>(length); sector += sectorSize) {
            const ByteSpan head = bytes.subspan(static_cast<std::size_t>(sector - at_));
            const bool mayBreak =
                openings.find(static_cast<char>(head[0])) != std::string_view::npos ||
                (IsLetter(head[0]) && (head.size() < HeadBytes || IsKnownField(head.first(FieldNameLength(head)))));
            if (sector > 0 && mayBreak) {
                return static_cast<std::size_t>(sector - at_);
            }
        }
        return length;
    }

    void PassStart() {
        passedStart_ = at_;
        std::array<std::uint8_t, PreviousTailBytes> tail{};
        const std::int64_t tailStart = std::max<std::int64_t>(at_ - std::int64_t{PreviousTailBytes}, 0);
        const auto tailSpan = std::span(tail).first(static_cast<std::size_t>(at_ - tailStart));
        file_.Copy(tailStart, tailSpan);
        const ByteSpan head = file_.From(at_, HeadBytes);
        if (BreaksIntoText(tailSpan, head.first(std::min(head.size(), HeadBytes)))) {
            Stop(TextRun::Behind::OtherFile);
        }
    }

    // Takes a byte that interrupts the text, or ends the text there.
    void PassOther(std::uint8_t byte) {
        if (byte == 0) {
            Stop(IsZeroFilled(file_, at_) ? TextRun::Behind::Zeros : TextRun::Behind::Binary);
        } else if (byte == DosEnd && IsZeroFilled(file_, at_ + 1)) {
            extra_ = 1;
            Stop(TextRun::Behind::Zeros);
        } else if (byte == DosEnd && at_ - from_ > 2 && StartsWith(file_.At(at_ - 2, 2), PatternOf("\r\n"))) {
            extra_ = 1;
            Stop(TextRun::Behind::Binary);
        } else if (byte >= 0x80 ? !GoesOnInCodePage() : !GoesOnAfterControl(byte)) {
            Stop(TextRun::Behind::Binary);
        }
    }

    bool GoesOnAfterControl(std::uint8_t control) {
        const ByteSpan bytes = file_.From(at_ + 1, ControlWindow);
        if (bytes.empty()) {
            return false;
        }
        const bool movesBack = control == Backspace || control == Escape;
        if (movesBack && IsPlainByte(bytes[0]) && !IsSpace(bytes[0]) && (at_ > from_ || control == Escape)) {
            ++at_;
            return true;
        }
        if (at_ - from_ < LeastBeforeControls) {
            return false;
        }
        ByteSpan window = bytes.first(std::min(bytes.size(), ControlWindow));
        const auto zero = std::ranges::find(window, std::uint8_t{0});
        const bool hasZero = zero != window.end();
        window = ByteSpan(window.begin(), zero);
        const auto controls = static_cast<std::size_t>(std::ranges::count_if(window, IsControlByte));
        const bool isText = window.size() >= LeastControlWindow && controls * 40 <= window.size() + 24 &&
                            (run_.isCodePage || EndOfHigh(window));
        if (!isText || (hasZero && !IsZeroFilled(file_, at_ + 1 + static_cast<std::int64_t>(window.size())))) {
            return false;
        }
        ++at_;
        return true;
    }

    // True if everything beyond ASCII in these bytes is UTF-8.
    static bool EndOfHigh(ByteSpan window) {
        const std::size_t end = EndOfUtf8(window, 0);
        return end == window.size() || window[end] < 0x80;
    }

    bool GoesOnInCodePage() {
        std::array<std::uint8_t, ShareWindow> before{};
        const std::int64_t beforeStart = std::max(from_, at_ - std::int64_t{ShareWindow});
        const auto beforeSpan = std::span(before).first(static_cast<std::size_t>(at_ - beforeStart));
        file_.Copy(beforeStart, beforeSpan);

        const ByteSpan bytes = file_.From(at_, ShareWindow);
        const std::size_t end = EndOfAnyText(bytes.first(std::min(bytes.size(), ShareWindow)), 0);
        const ByteSpan behind = bytes.first(end);
        const HighShare past(beforeSpan);
        const HighShare share(behind);
        // At most a quarter, or at most twice the share so far plus a tenth.
        const bool isLikeBefore =
            share.high * 4 <= share.all ||
            (past.all > 0 && share.high * past.all * 10 <= share.all * (past.high * 20 + past.all));
        // Or words in another alphabet.
        const std::size_t leastSpaces = AreCharactersOfTwo(behind) ? 160 : 40;
        const bool hasWords = share.spaces * leastSpaces >= share.all && share.spaces * 2 <= share.all;
        if (!isLikeBefore && !hasWords) {
            return false;
        }
        if (end < CodePageWindow && at_ + static_cast<std::int64_t>(end) < file_.Limit() &&
            !IsZeroFilled(file_, at_ + static_cast<std::int64_t>(end))) {
            return false;
        }
        run_.isCodePage = true;
        return true;
    }

    Place& file_;
    std::int64_t from_;
    std::int64_t at_;
    std::int64_t passedStart_ = -1;
    // The length of an end mark that belongs to the text.
    std::int64_t extra_ = 0;
    bool isOver_ = false;
    TextRun run_;
};

// Decides which of the last bytes before binary data are no longer text, but printable by chance. Every position is
// tried as the text's end: up to it bytes are assumed as frequent as before, after it random.
class ChanceTail {
public:
    // `text` ends before the binary data. What comes before `tailStart` is text for certain.
    ChanceTail(ByteSpan text, std::size_t tailStart, std::uint8_t lineEnd, bool isCodePage)
        : text_(text), tailStart_(tailStart), lineEnd_(lineEnd), isCodePage_(isCodePage) {
        for (std::size_t byte = 0; byte < anywhere_.counts.size(); ++byte) {
            const double usual = Usual(static_cast<std::uint8_t>(byte));
            anywhere_.Add(byte, usual);
            // A last line that begins with a closing bracket mostly closes the whole text.
            first_.Add(byte, byte == '}' || byte == ']' ? 0.5 : usual / 10);
        }
        for (std::size_t i = 0; i < tailStart; ++i) {
            Learn(i);
        }
    }

    // The text's most likely end.
    std::size_t End() {
        double bits = 0;
        double best = NoLine;
        std::size_t end = tailStart_;
        for (std::size_t i = tailStart_; i <= text_.size(); ++i) {
            const double bitsHere = bits + BitsOfLast(i);
            // Of equal ends, the last.
            if (bitsHere >= best) {
                best = bitsHere;
                end = i;
            }
            if (i < text_.size()) {
                bits += BitsOf(i);
                Learn(i);
            }
        }
        return end;
    }

private:
    struct Frequencies {
        std::array<double, 256> counts{};
        double total = 0;

        void Add(std::size_t byte, double count) {
            counts[byte] += count;
            total += count;
        }
        double Share(std::uint8_t byte) const { return counts[byte] / total; }
    };

    static constexpr double NoLine = -1e9;
    // Few texts end without a line end.
    static constexpr double PriorBits = -6;
    // How much of a text is unlike what came before.
    static constexpr double ShareOfOthers = 0.1;
    static constexpr double UsualTotal = 50;

    // How often a byte occurs in about 50 bytes of any text.
    double Usual(std::uint8_t byte) const {
        if (byte >= 'a' && byte <= 'z') {
            return 1;
        }
        if (byte == ' ') {
            return 6;
        }
        if (IsLetter(byte) || IsDigit(byte)) {
            return 0.3;
        }
        if (byte >= 0x80) {
            return isCodePage_ ? 0.1 : 0.01;
        }
        return IsPlainByte(byte) ? 0.2 : 0.01;
    }

    bool BeginsLine(std::size_t at) const { return at > 0 && text_[at - 1] == lineEnd_; }

    void Learn(std::size_t at) {
        anywhere_.Add(text_[at], 1);
        if (BeginsLine(at)) {
            first_.Add(text_[at], 1);
        }
    }

    // What the byte says for text, against a random one.
    double BitsOf(std::size_t at) const {
        constexpr double bitsOfPlace = 2;
        const std::uint8_t byte = text_[at];
        if (!isCodePage_ && (byte & 0xC0) == 0x80) {
            return bitsOfPlace;
        }
        const double share = (BeginsLine(at) ? first_ : anywhere_).Share(byte);
        const double bits = std::log2(256 * ((1 - ShareOfOthers) * share + ShareOfOthers * Usual(byte) / UsualTotal));
        return ClosesOn(at) ? std::max(bits, bitsOfPlace) : bits;
    }

    // True for a bracket or a semicolon right after a closing bracket, as at the end of code.
    bool ClosesOn(std::size_t at) const {
        static constexpr std::string_view closers = ")]};";
        const auto isCloser = [this](std::size_t place) {
            return closers.find(static_cast<char>(text_[place])) != std::string_view::npos;
        };
        return at > 0 && isCloser(at - 1) && isCloser(at);
    }

    // What the byte before an end says for that end.
    double BitsOfLast(std::size_t end) const {
        if (BeginsLine(end)) {
            return 0;
        }
        const std::uint8_t last = text_[end - 1];
        return PriorBits + std::log2(ShareOfLastBytes(last) / (Usual(last) / UsualTotal));
    }

    ByteSpan text_;
    std::size_t tailStart_;
    std::uint8_t lineEnd_;
    bool isCodePage_;
    Frequencies anywhere_;
    // Of a line.
    Frequencies first_;
};

std::int64_t WithoutChanceTail(Place& file, std::int64_t from, const TextRun& run) {
    constexpr std::int64_t most = 0x1000;
    constexpr std::size_t longestTail = 32;
    const std::int64_t start = std::max(from, run.end - most);
    const ByteSpan text = file.At(start, static_cast<std::size_t>(run.end - start));
    const bool hasFeeds = std::ranges::find(text, std::uint8_t{'\n'}) != text.end();
    const std::uint8_t lineEnd = hasFeeds ? '\n' : '\r';
    if (text.empty() || text.back() == DosEnd) {
        return run.end;
    }
    const auto last = std::find(text.rbegin(), text.rend(), lineEnd);
    const bool isOneLine = last == text.rend();
    const auto lineStart = static_cast<std::size_t>(text.rend() - last);
    if ((isOneLine && text.size() <= longestTail) || (lineStart == text.size() && !run.isCodePage)) {
        return run.end;
    }
    // In a code page, random bytes go on as text for so long that they may have line ends.
    const std::size_t lookedAt = run.isCodePage || isOneLine ? std::min(text.size() - 1, longestTail) : 0;
    const std::size_t tailStart = std::min(isOneLine ? text.size() : lineStart, text.size() - lookedAt);
    const std::size_t end = ChanceTail(text, tailStart, lineEnd, run.isCodePage).End();
    // Strings in a program end with a zero.
    const ByteSpan behind = file.From(run.end);
    const bool isString = !behind.empty() && behind[0] == 0 && end == text.size() && end - lineStart > 1 && !isOneLine;
    return start + static_cast<std::int64_t>(isString ? lineStart : end);
}

}  // namespace

bool IsZeroFilled(Place& file, std::int64_t offset) {
    if (offset >= file.Limit()) {
        return true;
    }
    constexpr std::int64_t least = 16;
    const std::int64_t sectorSize = file.SectorSize();
    const std::int64_t left = offset % sectorSize == 0 ? least : sectorSize - offset % sectorSize;
    const auto wanted = static_cast<std::size_t>(std::min(left, file.Limit() - offset));
    const ByteSpan bytes = file.At(offset, std::min(wanted, ByteWindow::PieceBytes));
    return !bytes.empty() && IsZeroFrom(bytes, 0);
}

TextRun FollowText(Place& file, std::int64_t from) {
    TextRun run = TextFollower(file, from).Run();
    if (run.behind == TextRun::Behind::Binary && run.end > from) {
        run.end = WithoutChanceTail(file, from, run);
    }
    return run;
}

namespace {

// The scripts that a text was seen to use, by the high bytes of its units.
class Utf16Scripts {
public:
    bool IsKnown(std::uint16_t unit) const { return IsCommon(unit) || seen_[ScriptOf(unit)]; }
    void See(std::uint16_t unit) { seen_[ScriptOf(unit)] = true; }
    static bool AreAlike(std::uint16_t unit, std::uint16_t other) { return ScriptOf(unit) == ScriptOf(other); }

private:
    // The block of 256 units; all ideographs share one, and so do all Hangul.
    static std::uint8_t ScriptOf(std::uint16_t unit) {
        const bool isIdeograph = unit >= 0x4E00 && unit < 0xA000;
        const bool isHangul = unit >= 0xAC00 && unit < 0xD7B0;
        return static_cast<std::uint8_t>(isIdeograph ? 0x4E : isHangul ? 0xAC : unit >> 8U);
    }
    // Latin, general punctuation, arrows and frames, kana, full-width forms.
    static bool IsCommon(std::uint16_t unit) {
        const unsigned block = unit >> 8U;
        return block <= 0x02 || (block >= 0x20 && block <= 0x26) || block == 0x30 || block == 0xFF;
    }
    std::array<bool, 256> seen_{};
};

bool IsUtf16Stop(std::uint16_t unit) {
    return unit < 0x80 ? !IsPlainByte(static_cast<std::uint8_t>(unit)) : unit < 0xA0 || unit >= 0xFFFE;
}

}  // namespace

namespace {

// A few units after the last line end are most likely no longer part of the file.
std::int64_t WithoutBrokenUnits(Place& file, std::int64_t from, std::int64_t end, bool isBigEndian) {
    constexpr std::int64_t most = 8;
    for (std::int64_t at = end - 2; at >= from && at >= end - 2 * most; at -= 2) {
        const ByteSpan unit = file.At(at, 2);
        if (!unit.empty() && unit[isBigEndian ? 1 : 0] == '\n' && unit[isBigEndian ? 0 : 1] == 0) {
            return at + 2;
        }
    }
    return end;
}

// A few units of a text.
class Utf16Units {
public:
    Utf16Units(ByteSpan bytes, bool isBigEndian) : bytes_(bytes), isBigEndian_(isBigEndian) {}

    std::size_t Count() const { return bytes_.size() / 2; }
    std::uint16_t At(std::size_t index) const {
        return isBigEndian_ ? LoadBig<std::uint16_t>(bytes_, 2 * index) : LoadLittle<std::uint16_t>(bytes_, 2 * index);
    }
    bool BeginsPair(std::size_t index) const { return (At(index) & 0xFC00) == 0xD800; }
    bool IsBrokenPair(std::size_t index) const {
        const bool isSecond = (At(index) & 0xFC00) == 0xDC00;
        return isSecond || (BeginsPair(index) && (index + 1 >= Count() || (At(index + 1) & 0xFC00) != 0xDC00));
    }
    // True if it is of a script that the text has not used, and those after it are of yet others.
    bool IsAlien(std::size_t index, const Utf16Scripts& scripts) const {
        const std::uint16_t unit = At(index);
        if (scripts.IsKnown(unit)) {
            return false;
        }
        int others = 0;
        for (std::size_t next = index + 1; next < std::min(Count(), index + 7); ++next) {
            others += scripts.IsKnown(At(next)) || Utf16Scripts::AreAlike(At(next), unit) ? 0 : 1;
        }
        return others >= 2;
    }

    // True if so many printable bytes begin here that they are text of one byte a character, not ideographs. To be
    // asked in ascending order.
    bool BeginsNarrowText(std::size_t index, const Utf16Scripts& scripts) {
        constexpr std::size_t leastWithoutIdeographs = 8;
        constexpr std::uint16_t ideograph = 0x4E00;
        if (!IsPlainByte(bytes_[2 * index]) || !IsPlainByte(bytes_[2 * index + 1])) {
            return false;
        }
        if (plainEnd_ <= 2 * index) {
            plainEnd_ = EndOfPlain(bytes_, 2 * index);
        }
        const std::size_t length = plainEnd_ - 2 * index;
        return length >= leastWithoutIdeographs && (length >= LeastOfNarrowText || !scripts.IsKnown(ideograph));
    }

    // The first unit from `index` on that is not plain ASCII, or `count`.
    std::size_t EndOfAscii(std::size_t index, std::size_t count) const {
        const std::size_t high = isBigEndian_ ? 0 : 1;
        while (index < count && bytes_[2 * index + high] == 0 && IsPlainByte(bytes_[2 * index + 1 - high])) {
            ++index;
        }
        return index;
    }

    static constexpr std::size_t LeastOfNarrowText = 24;

private:
    ByteSpan bytes_;
    bool isBigEndian_;
    // Bytes from where the narrow text was looked for last up to here are printable.
    std::size_t plainEnd_ = 0;
};

TextRun StoppedAt(Place& file, std::int64_t from, std::int64_t at, std::uint16_t unit, bool isBigEndian) {
    TextRun run;
    run.printableEnd = at;
    const bool isZero = unit == 0 && IsZeroFilled(file, at);
    run.behind = isZero ? TextRun::Behind::Zeros : TextRun::Behind::Binary;
    run.end = isZero ? at : WithoutBrokenUnits(file, from, at, isBigEndian);
    return run;
}

}  // namespace

TextRun FollowUtf16(Place& file, std::int64_t from, bool isBigEndian) {
    // A text's first units show which scripts it uses; later, units of other scripts must not come alone.
    constexpr std::int64_t lessons = 16;
    Utf16Scripts scripts;
    std::int64_t at = from;
    for (;;) {
        const ByteSpan bytes = file.From(at, 2 * Utf16Units::LeastOfNarrowText);
        if (bytes.size() < 2 || file.IsExhausted()) {
            break;
        }
        Utf16Units units(bytes, isBigEndian);
        // The last units are judged together with those after them.
        const bool isLast = at + static_cast<std::int64_t>(bytes.size()) >= file.Limit();
        const std::size_t count = isLast ? units.Count() : units.Count() - Utf16Units::LeastOfNarrowText / 2 + 1;
        std::size_t i = 0;
        for (;; ++i) {
            i = units.EndOfAscii(i, count);
            if (i >= count) {
                break;
            }
            const std::uint16_t unit = units.At(i);
            const std::int64_t place = at + static_cast<std::int64_t>(2 * i);
            const bool isAlien = place >= from + 2 * lessons && units.IsAlien(i, scripts);
            if (IsUtf16Stop(unit) || units.IsBrokenPair(i) || isAlien || units.BeginsNarrowText(i, scripts)) {
                return StoppedAt(file, from, place, unit, isBigEndian);
            }
            scripts.See(unit);
            i += units.BeginsPair(i) ? 1U : 0U;
        }
        // One unit more if a surrogate pair crosses the end of the piece.
        at += static_cast<std::int64_t>(2 * i);
    }
    TextRun run;
    run.end = at;
    run.printableEnd = at;
    return run;
}

}  // namespace salvor
