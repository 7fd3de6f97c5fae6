#include "formats/PostScriptWalk.h"

#include <algorithm>

#include "formats/PdfWalk.h"
#include "frame/bytes/BytePattern.h"

namespace {

constexpr auto HeaderStart = PatternOf("%!PS-Adobe-");
constexpr BytePattern CommentMark = BytePatternOf<"%%">();
constexpr auto Creator = PatternOf("%%Creator:");
constexpr auto Program = PatternOf("Adobe Illustrator");
constexpr auto ProgramComment = PatternOf("%AI");
constexpr auto BeginDocument = PatternOf("%%BeginDocument");
constexpr auto EndDocument = PatternOf("%%EndDocument");
constexpr auto BeginData = PatternOf("%%BeginData:");
constexpr auto BeginBinary = PatternOf("%%BeginBinary:");
constexpr BytePattern EndDataMark = BytePatternOf<"%%End">();
constexpr BytePattern LinesMark = BytePatternOf<"Lines">();
constexpr auto TrailerComment = PatternOf("%%Trailer");
constexpr auto EndComment = PatternOf("%%EOF");

// The comments that name the program are in these first bytes. Further on, they may be those of a placed file.
constexpr std::size_t HeaderBytes = 4096;
// The longest comment, including its line end.
constexpr std::size_t CommentBytesMost = 256;
// How far after the data the comment that closes them is looked for.
constexpr std::size_t EndDataWithin = 64;
constexpr int MostData = 4096;
// Headers at sector starts inside placed files that are accepted.
constexpr int MostHeaders = 4;

constexpr std::uint8_t EndOfTransmission = 0x04;

bool IsLineEnd(std::uint8_t byte) { return byte == '\r' || byte == '\n'; }
bool IsDigit(std::uint8_t byte) { return byte >= '0' && byte <= '9'; }

bool IsText(std::uint8_t byte) {
    return byte >= 0x20 || byte == EndOfTransmission || (byte >= 0x08 && byte <= 0x0D && byte != 0x0B);
}

ByteSpan LineOf(ByteSpan text) {
    return text.first(static_cast<std::size_t>(std::ranges::find_if(text, IsLineEnd) - text.begin()));
}

ByteSpan SkipBlanks(ByteSpan text) {
    const auto isBlank = [](std::uint8_t byte) {
        return byte == ' ' || byte == '\t';
    };
    return text.subspan(static_cast<std::size_t>(std::ranges::find_if_not(text, isBlank) - text.begin()));
}

// Names the creator, or is one of Illustrator's own comments, such as %AI5_FileFormat.
bool IsProgramLine(ByteSpan line) {
    if (StartsWith(line, Creator)) {
        ByteSpan name = SkipBlanks(line.subspan(Creator.size()));
        if (!name.empty() && name[0] == '(') {
            name = name.subspan(1);
        }
        return StartsWith(name, Program);
    }
    if (!StartsWith(line, ProgramComment)) {
        return false;
    }
    std::size_t at = ProgramComment.size();
    while (at < line.size() && IsDigit(line[at])) {
        ++at;
    }
    // One-digit versions start with 3.
    const std::size_t digits = at - ProgramComment.size();
    return (digits == 2 || (digits == 1 && line[at - 1] >= '3')) && at < line.size() && line[at] == '_';
}

class PostScriptWalk {
public:
    PostScriptWalk(ByteWindow& file, std::int64_t sectorSize, bool endsAtBinary)
        : file_(file), sectorSize_(sectorSize), endsAtBinary_(endsAtBinary) {}

    PostScriptExtent Run();

private:
    void PassText(ByteSpan bytes, std::size_t count);
    void PassHeaders(ByteSpan bytes, std::size_t count);
    void PassComment();
    void PassData(ByteSpan line);
    void PassEnd();
    ByteWindow& file_;
    std::int64_t sectorSize_;
    bool endsAtBinary_;
    std::int64_t at_ = 0;
    // The byte before `at_`.
    std::uint8_t before_ = '\n';
    // How many placed files enclose `at_`.
    std::int64_t depth_ = 0;
    bool hasTrailer_ = false;
    int data_ = 0;
    int headers_ = 0;
    // The end so far; 0 if there is none.
    std::int64_t end_ = 0;
    bool isOver_ = false;
    PostScriptExtent extent_;
};

PostScriptExtent PostScriptWalk::Run() {
    // Enough for a header and a comment's start.
    constexpr std::size_t wanted = 16;
    static_assert(wanted > HeaderStart.size() + CommentMark.size());
    while (!isOver_) {
        const ByteSpan bytes = file_.From(at_, wanted);
        if (bytes.empty()) {
            break;
        }
        const std::optional<std::size_t> comment = CommentMark.FindIn(bytes);
        PassText(bytes, comment.value_or(bytes.size() < wanted ? bytes.size() : bytes.size() - wanted + 1));
        if (comment && !isOver_) {
            PassComment();
        }
    }
    extent_.end = end_ > 0 ? std::optional(end_) : std::nullopt;
    return extent_;
}

void PostScriptWalk::PassText(ByteSpan bytes, std::size_t count) {
    const ByteSpan text = bytes.first(count);
    const bool isBroken = endsAtBinary_ && !std::ranges::all_of(text, IsText);
    if (!isBroken) {
        PassHeaders(bytes, count);
    }
    if (isOver_ || text.empty()) {
        return;
    }
    if (hasTrailer_ || end_ > 0 || endsAtBinary_) {
        const auto other = std::ranges::find_if_not(text, IsText);
        if (other != text.end()) {
            extent_.binaryAt = at_ + (other - text.begin());
            end_ = end_ > 0 ? end_ : hasTrailer_ ? *extent_.binaryAt : 0;
            isOver_ = true;
            return;
        }
    }
    before_ = text.back();
    at_ += static_cast<std::int64_t>(text.size());
}

// A header at a sector start begins another file, unless it is inside a placed one.
void PostScriptWalk::PassHeaders(ByteSpan bytes, std::size_t count) {
    const std::int64_t to = at_ + static_cast<std::int64_t>(count);
    std::int64_t sector = (std::max<std::int64_t>(at_, 1) + sectorSize_ - 1) / sectorSize_ * sectorSize_;
    for (; sector < to; sector += sectorSize_) {
        const ByteSpan start = bytes.subspan(static_cast<std::size_t>(sector - at_));
        if ((StartsWith(start, HeaderStart) || IsPdfHeader(start)) && (depth_ == 0 || ++headers_ > MostHeaders)) {
            isOver_ = true;
            return;
        }
    }
}

void PostScriptWalk::PassComment() {
    const ByteSpan text = file_.From(at_, CommentBytesMost);
    const ByteSpan line = LineOf(text.first(std::min(text.size(), CommentBytesMost)));
    const bool isLineStart = IsLineEnd(before_);
    before_ = '%';
    at_ += static_cast<std::int64_t>(CommentMark.size());
    if (!isLineStart) {
        return;
    }
    if (StartsWith(line, BeginDocument)) {
        ++depth_;
    } else if (StartsWith(line, EndDocument)) {
        depth_ = std::max<std::int64_t>(depth_ - 1, 0);
    } else if (StartsWith(line, BeginData) || StartsWith(line, BeginBinary)) {
        PassData(line);
    } else if (depth_ == 0 && StartsWith(line, TrailerComment)) {
        hasTrailer_ = true;
    } else if (depth_ == 0 && StartsWith(line, EndComment)) {
        PassEnd();
    }
}

// Skips the data if their closing comment is where their length says.
void PostScriptWalk::PassData(ByteSpan line) {
    const ByteSpan digits = SkipBlanks(
        line.subspan(static_cast<std::size_t>(std::ranges::find(line, std::uint8_t{':'}) - line.begin()) + 1));
    std::int64_t length = 0;
    for (std::size_t i = 0; i < digits.size() && IsDigit(digits[i]) && length < file_.Limit(); ++i) {
        length = length * 10 + (digits[i] - '0');
    }
    if (length == 0 || LinesMark.FindIn(line) || ++data_ > MostData) {
        return;
    }
    const std::int64_t behind = at_ + static_cast<std::int64_t>(line.size() - CommentMark.size()) + length;
    const ByteSpan close = file_.From(behind, EndDataWithin);
    const auto found = EndDataMark.FindIn(close.first(std::min(close.size(), EndDataWithin)));
    if (found) {
        // The length may or may not count the line end before the data.
        at_ = behind + (endsAtBinary_ ? static_cast<std::int64_t>(*found) : 0);
        before_ = '\n';
    }
}

// The end-of-file comment after the trailer ends the file; one without a trailer does too, unless more text follows.
void PostScriptWalk::PassEnd() {
    const std::int64_t comment = at_ - static_cast<std::int64_t>(CommentMark.size());
    std::int64_t end = EndOfLastLine(file_, comment + static_cast<std::int64_t>(EndComment.size()), sectorSize_);
    ByteSpan next = file_.From(end);
    if (!next.empty() && next[0] == EndOfTransmission) {
        next = file_.From(++end);
    }
    extent_.isClosed = true;
    if (hasTrailer_ || end_ == 0) {
        end_ = end;
    }
    isOver_ = hasTrailer_ || next.empty() || !IsText(next[0]) || end % sectorSize_ == 0;
}

}  // namespace

bool IsPostScriptHeader(ByteSpan sector) {
    constexpr std::size_t major = HeaderStart.size();
    return sector.size() >= major + 4 && StartsWith(sector, HeaderStart) &&
           (sector[major] == '2' || sector[major] == '3') && sector[major + 1] == '.' && sector[major + 2] == '0' &&
           (sector[major + 3] == ' ' || IsLineEnd(sector[major + 3]));
}

bool IsIllustratorDrawing(ByteWindow& file) {
    ByteSpan text = file.From(0, HeaderBytes);
    text = text.first(std::min(text.size(), HeaderBytes));
    while (!text.empty()) {
        const ByteSpan line = LineOf(text);
        if (IsProgramLine(line)) {
            return true;
        }
        if (StartsWith(line, BeginDocument)) {
            return false;
        }
        text = text.subspan(std::min(line.size() + 1, text.size()));
    }
    return false;
}

PostScriptExtent FindPostScriptEnd(ByteWindow& file, std::int64_t sectorSize, bool endsAtBinary) {
    return PostScriptWalk(file, sectorSize, endsAtBinary).Run();
}
