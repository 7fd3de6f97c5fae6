#include "formats/PictureWalks.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "frame/bytes/FieldReader.h"
#include "frame/bytes/PlaceSearch.h"

namespace {

constexpr auto BinarySignature = PatternOf("AutoCAD Binary DXF\r\n\x1A\0");
constexpr auto ByteOrderMark = PatternOf("\xEF\xBB\xBF");
constexpr std::size_t MinSectorBytes = 64;
// The first line is a code of at most three digits, with blanks around it.
constexpr std::size_t FirstLineBytes = 16;

constexpr std::int32_t EntityCode = 0;
constexpr std::int32_t NameCode = 2;
constexpr std::int32_t CommentCode = 999;
constexpr std::int32_t LowestCode = -5;
constexpr std::int32_t HighestCode = 1071;

// More comments than this at the start belong to some other kind of file.
constexpr int MostComments = 1000;

// The least cost of reading a line or a pair, counted in bytes read.
constexpr std::int64_t LineCost = 64;
constexpr std::int64_t PairCost = 128;

constexpr std::uint8_t DosEnd = 0x1A;

bool Is(ByteSpan bytes, std::string_view text) { return std::ranges::equal(bytes, text); }

ByteSpan Trimmed(ByteSpan line) {
    const auto isBlank = [](std::uint8_t byte) {
        return byte == ' ' || byte == '\t' || byte == '\r';
    };
    // Lines of a drawing made to be slow may have thousands.
    constexpr auto blanks = PatternOf("        ");
    while (line.size() >= blanks.size() && HasPatternAt(line, line.size() - blanks.size(), blanks)) {
        line = line.first(line.size() - blanks.size());
    }
    while (StartsWith(line, blanks)) {
        line = line.subspan(blanks.size());
    }
    while (!line.empty() && isBlank(line.back())) {
        line = line.first(line.size() - 1);
    }
    while (!line.empty() && isBlank(line.front())) {
        line = line.subspan(1);
    }
    return line;
}

// Of a trimmed line.
std::optional<std::int32_t> CodeOf(ByteSpan line) {
    const bool isNegative = !line.empty() && line.front() == '-';
    const ByteSpan digits = isNegative ? line.subspan(1) : line;
    if (digits.empty() || digits.size() > 4) {
        return std::nullopt;
    }
    std::int32_t code = 0;
    for (const std::uint8_t digit : digits) {
        if (digit < '0' || digit > '9') {
            return std::nullopt;
        }
        code = code * 10 + (digit - '0');
    }
    code = isNegative ? -code : code;
    return code >= LowestCode && code <= HighestCode ? std::optional(code) : std::nullopt;
}

constexpr std::array<std::string_view, 6> SectionNames{"HEADER", "TABLES", "BLOCKS", "ENTITIES", "CLASSES", "OBJECTS"};

// A Ctrl-Z, the end of file of old programs, with its line end.
std::int64_t SkipDosEnd(ByteWindow& file, std::int64_t end) {
    const ByteSpan bytes = file.From(end, 3);
    if (bytes.empty() || bytes[0] != DosEnd) {
        return end;
    }
    if (HasPatternAt(bytes, 1, PatternOf("\r\n"))) {
        return end + 3;
    }
    return HasPatternAt(bytes, 1, PatternOf("\n")) ? end + 2 : end + 1;
}

class TextDrawing {
public:
    TextDrawing(ByteWindow& file, std::int64_t start, std::uint8_t lineEnd)
        : file_(file), end_(start), lineEnd_(lineEnd) {}

    std::optional<WalkedFile> Measure() {
        while (step_ != Step::AtEnd && TakePair()) {
        }
        if (step_ == Step::AtEnd) {
            return WalkedFile{SkipDosEnd(file_, end_)};
        }
        return hasEntities_ ? std::optional(WalkedFile{end_, false}) : std::nullopt;
    }

private:
    enum class Step { BeforeSection, BeforeName, Inside, AtEnd };

    struct Line {
        // Without the line end.
        ByteSpan text;
        bool hasEnd;
    };

    // Where the line stops in the bytes read ahead, or how many these are. Carriage returns are blanks where they end
    // no line.
    std::size_t LineLength() const {
        constexpr std::size_t nearBytes = 32;
        const std::uint8_t blank = lineEnd_ == '\r' ? '\t' : '\r';
        const auto difference = [blank](const std::uint8_t* place) {
            const auto isBlank = static_cast<unsigned>(*place == '\t') | static_cast<unsigned>(*place == blank);
            return static_cast<std::uint8_t>((*place & 0xE0U) | isBlank);
        };
        // Most lines are short, and the search through many places takes a while to begin.
        for (std::size_t at = 0; at < std::min(ahead_.size(), nearBytes); ++at) {
            if (difference(ahead_.data() + at) == 0) {
                return at;
            }
        }
        return FindPlace(ahead_.data(), nearBytes, ahead_.size(), difference,
                         [](std::size_t /*place*/) { return true; })
            .value_or(ahead_.size());
    }

    // Nothing if the line is too long. An unfinished line stops at the first byte that is not text.
    std::optional<Line> NextLine() {
        file_.Charge(LineCost);
        std::size_t length = LineLength();
        if (length == ahead_.size()) {
            ahead_ = file_.From(end_, ByteWindow::PieceBytes);
            length = LineLength();
        }
        if (ahead_.empty() || (length == ahead_.size() && length >= ByteWindow::PieceBytes)) {
            return std::nullopt;
        }
        return Line{ahead_.first(length), length < ahead_.size() && ahead_[length] == lineEnd_};
    }

    void StepOver(const Line& line) {
        const std::size_t length = line.text.size() + (line.hasEnd ? 1 : 0);
        end_ += static_cast<std::int64_t>(length);
        ahead_ = ahead_.subspan(length);
    }

    bool TakePair() {
        pairStart_ = end_;
        std::optional<Line> line = NextLine();
        const std::optional<std::int32_t> code = line && line->hasEnd ? CodeOf(Trimmed(line->text)) : std::nullopt;
        if (!code || file_.IsExhausted()) {
            return false;
        }
        StepOver(*line);
        line = NextLine();
        if (!line || !Accepts(*code, line->text) || (!line->hasEnd && step_ != Step::AtEnd)) {
            return false;
        }
        StepOver(*line);
        return true;
    }

    // `value` is untrimmed: nearly all values are skipped.
    bool Accepts(std::int32_t code, ByteSpan value) {
        if (step_ == Step::BeforeSection) {
            step_ = code == EntityCode && Is(Trimmed(value), "SECTION") ? Step::BeforeName : step_;
            return step_ == Step::BeforeName || (code == CommentCode && ++comments_ <= MostComments);
        }
        const bool isNamed = step_ == Step::BeforeName;
        step_ = Step::Inside;
        if (code == EntityCode && seenSections_ != 0) {
            AcceptEntity(Trimmed(value));
            return true;
        }
        return !isNamed || AcceptsName(code, Trimmed(value));
    }

    void AcceptEntity(ByteSpan value) {
        if (Is(value, "EOF")) {
            step_ = Step::AtEnd;
        } else if (Is(value, "SECTION")) {
            step_ = Step::BeforeName;
            sectionStart_ = pairStart_;
        }
    }

    // A drawing has one section of each kind. A second one at a sector start belongs to another drawing, and this one
    // broke off there. The first section must be of a known kind.
    bool AcceptsName(std::int32_t code, ByteSpan name) {
        const auto* const known =
            code == NameCode
                ? std::ranges::find_if(SectionNames, [name](std::string_view text) { return Is(name, text); })
                : SectionNames.end();
        if (known == SectionNames.end()) {
            return seenSections_ != 0;
        }
        const std::uint32_t section = 1U << static_cast<unsigned>(known - SectionNames.begin());
        if ((seenSections_ & section) != 0 && sectionStart_ % file_.SectorSize() == 0) {
            end_ = sectionStart_;
            return false;
        }
        seenSections_ |= section;
        hasEntities_ = hasEntities_ || *known == "ENTITIES";
        return true;
    }

    ByteWindow& file_;
    // The end of the last whole line, and the bytes read ahead from there.
    std::int64_t end_;
    ByteSpan ahead_;
    std::uint8_t lineEnd_;
    std::int64_t pairStart_ = 0;
    std::int64_t sectionStart_ = 0;
    Step step_ = Step::BeforeSection;
    bool hasEntities_ = false;
    int comments_ = 0;
    // One bit per section name.
    std::uint32_t seenSections_ = 0;
};

// What follows a code in the binary form.
enum class Value { Text, Bytes1, Bytes2, Bytes4, Bytes8, Counted };
struct CodeRange {
    std::uint16_t first;
    std::uint16_t last;
    Value value;
};
constexpr std::array CodeRanges{
    CodeRange{0, 9, Value::Text},         CodeRange{10, 59, Value::Bytes8},      CodeRange{60, 79, Value::Bytes2},
    CodeRange{90, 99, Value::Bytes4},     CodeRange{100, 102, Value::Text},      CodeRange{105, 105, Value::Text},
    CodeRange{110, 149, Value::Bytes8},   CodeRange{160, 169, Value::Bytes8},    CodeRange{170, 179, Value::Bytes2},
    CodeRange{210, 239, Value::Bytes8},   CodeRange{270, 289, Value::Bytes2},    CodeRange{290, 299, Value::Bytes1},
    CodeRange{300, 309, Value::Text},     CodeRange{310, 319, Value::Counted},   CodeRange{320, 369, Value::Text},
    CodeRange{370, 389, Value::Bytes2},   CodeRange{390, 399, Value::Text},      CodeRange{400, 409, Value::Bytes2},
    CodeRange{410, 419, Value::Text},     CodeRange{420, 429, Value::Bytes4},    CodeRange{430, 439, Value::Text},
    CodeRange{440, 459, Value::Bytes4},   CodeRange{460, 469, Value::Bytes8},    CodeRange{470, 481, Value::Text},
    CodeRange{999, 1003, Value::Text},    CodeRange{1004, 1004, Value::Counted}, CodeRange{1005, 1009, Value::Text},
    CodeRange{1010, 1059, Value::Bytes8}, CodeRange{1060, 1070, Value::Bytes2},  CodeRange{1071, 1071, Value::Bytes4},
};

const CodeRange* RangeOf(std::uint16_t code) {
    const auto* const range = std::ranges::lower_bound(CodeRanges, code, {}, &CodeRange::last);
    return range != CodeRanges.end() && range->first <= code ? range : nullptr;
}

class BinaryDrawing {
public:
    explicit BinaryDrawing(ByteWindow& file) : file_(file), fields_(file, BinarySignature.size()) {}

    std::optional<WalkedFile> Measure() {
        // The first pair is 0, SECTION. With 8-bit codes, the 0 is a single byte.
        const ByteSpan start = file_.At(fields_.Position(), 2);
        hasWideCodes_ = start.empty() || start[1] == 0;
        bool isFirst = true;
        while (!fields_.IsBroken() && !file_.IsExhausted()) {
            file_.Charge(PairCost);
            const std::uint16_t code = ReadCode();
            const CodeRange* const range = RangeOf(code);
            if (range == nullptr) {
                return std::nullopt;
            }
            if (code == EntityCode && StartsWith(file_.At(fields_.Position(), 4), PatternOf("EOF\0"))) {
                return WalkedFile{fields_.Position() + 4};
            }
            if (isFirst && !StartsWith(file_.At(fields_.Position(), 8), PatternOf("SECTION\0"))) {
                return std::nullopt;
            }
            isFirst = false;
            SkipValue(range->value);
        }
        return std::nullopt;
    }

private:
    std::uint16_t ReadCode() {
        if (hasWideCodes_) {
            return fields_.Little<std::uint16_t>();
        }
        const std::uint8_t code = fields_.Byte();
        return code == 0xFF ? fields_.Little<std::uint16_t>() : code;
    }

    void SkipValue(Value value) {
        switch (value) {
            case Value::Text:
                SkipText();
                break;
            // When codes had 8 bits, there were no one-byte values.
            case Value::Bytes1:
                fields_.Skip(hasWideCodes_ ? 1 : 2);
                break;
            case Value::Bytes2:
                fields_.Skip(2);
                break;
            case Value::Bytes4:
                fields_.Skip(4);
                break;
            case Value::Bytes8:
                fields_.Skip(8);
                break;
            case Value::Counted:
                fields_.Skip(fields_.Byte());
                break;
        }
    }

    // The place after the terminating zero.
    void SkipText() {
        const std::optional<std::size_t> length = TextLength(file_.From(fields_.Position()));
        const std::optional<std::size_t> wholeLength =
            length ? length : TextLength(file_.From(fields_.Position(), ByteWindow::PieceBytes));
        if (!wholeLength) {
            fields_.Break();
            return;
        }
        fields_.Skip(*wholeLength + 1);
    }

    // Up to the terminating zero.
    static std::optional<std::size_t> TextLength(ByteSpan bytes) {
        const void* const zero = bytes.empty() ? nullptr : std::memchr(bytes.data(), 0, bytes.size());
        if (zero == nullptr) {
            return std::nullopt;
        }
        return static_cast<std::size_t>(static_cast<const std::uint8_t*>(zero) - bytes.data());
    }

    ByteWindow& file_;
    FieldReader fields_;
    bool hasWideCodes_ = false;
};

std::size_t TextStart(ByteSpan bytes) { return StartsWith(bytes, ByteOrderMark) ? ByteOrderMark.size() : 0; }

// Splits off the first line; empty if it is longer than `most` bytes.
ByteSpan FirstLine(ByteSpan bytes, std::size_t most, std::uint8_t lineEnd) {
    const ByteSpan searched = bytes.first(std::min(most, bytes.size()));
    const auto end = std::ranges::find(searched, lineEnd);
    return end == searched.end() ? ByteSpan() : searched.first(static_cast<std::size_t>(end - searched.begin()) + 1);
}

ByteSpan WithoutEnd(ByteSpan line) { return line.empty() ? line : Trimmed(line.first(line.size() - 1)); }

bool OpensText(ByteSpan sector, std::uint8_t lineEnd) {
    const ByteSpan text = sector.subspan(TextStart(sector));
    const ByteSpan first = FirstLine(text, FirstLineBytes, lineEnd);
    const std::optional<std::int32_t> code = CodeOf(WithoutEnd(first));
    return code == CommentCode ||
           (code == EntityCode &&
            Is(WithoutEnd(FirstLine(text.subspan(first.size()), FirstLineBytes, lineEnd)), "SECTION"));
}

}  // namespace

bool DxfDrawing::IsHeader(ByteSpan sector, std::uint8_t lineEnd) {
    if (sector.size() < MinSectorBytes) {
        return false;
    }
    switch (sector[0]) {
        case ' ':
        case '\t':
        case '0':
        case '9':
        case ByteOrderMark[0]:
            return OpensText(sector, lineEnd);
        case BinarySignature[0]:
            return StartsWith(sector, BinarySignature);
        default:
            return false;
    }
}

std::optional<WalkedFile> DxfDrawing::Walk(ByteWindow& file, std::uint8_t lineEnd) {
    const ByteSpan start = file.At(0, BinarySignature.size());
    if (StartsWith(start, BinarySignature)) {
        return BinaryDrawing(file).Measure();
    }
    return TextDrawing(file, static_cast<std::int64_t>(TextStart(start)), lineEnd).Measure();
}
