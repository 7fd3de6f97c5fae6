#include "formats/PdfWalk.h"

#include <algorithm>
#include <limits>

#include "frame/bytes/BytePattern.h"
#include "frame/bytes/PlaceSearch.h"

namespace {

constexpr auto HeaderStart = PatternOf("%PDF-");
constexpr auto PostScriptStart = PatternOf("%!PS");
constexpr auto EndMarkBytes = PatternOf("%%EOF");
constexpr BytePattern EndMark{EndMarkBytes};
constexpr auto StartXrefBytes = PatternOf("startxref");
constexpr BytePattern StartXrefMark{StartXrefBytes};
constexpr auto Start = PatternOf("start");
constexpr auto TableBytes = PatternOf("xref");
constexpr BytePattern TableMark{TableBytes};
constexpr BytePattern StreamMark = BytePatternOf<"/XRef">();
constexpr auto Object = PatternOf("obj");
constexpr auto Trailer = PatternOf("trailer");
constexpr auto EndStream = PatternOf("endstream");
constexpr auto EndObject = PatternOf("endobj");
constexpr BytePattern EndObjectMark{EndObject};
constexpr auto DictionaryStart = PatternOf("<<");
constexpr BytePattern DictionaryEndMark = BytePatternOf<">>">();
constexpr BytePattern LinearizedMark = BytePatternOf<"/Linearized">();
constexpr BytePattern LengthMark = BytePatternOf<"/L">();

constexpr auto DrawingStart = PatternOf("/AI");
constexpr auto PrivateData = PatternOf("/AIPrivateData1");
constexpr auto PrivatePdf = PatternOf("/AIPDFPrivateData1");
constexpr auto MetaData = PatternOf("/AIMetaData");
// The longest text that is searched for.
constexpr std::size_t LongestMark = PrivatePdf.size();

// In bytes. How much white space may come before more of the same file, and how far from its mark the offset of
// the cross-reference section may be.
constexpr std::size_t MostWhite = 1024;
constexpr std::int64_t TailBytes = 64;
// White space after the last end mark: how much of it may be the file's, and how much may start the filling of a sector
// by chance.
constexpr std::size_t MostTail = 4096;
constexpr std::int64_t MostChanceWhite = 3;
// A section's first word and a little white space.
constexpr std::size_t SectionStartBytes = 24;
// A linearized file has its dictionary in these first bytes.
constexpr std::size_t LinearizedBytesAhead = 1024;
// Files that lost or gained line ends on their way have their cross-reference section this far from its offset.
constexpr std::int64_t LostBytes = 4096;
constexpr std::int64_t GainedBytes = 1024;

// How many end marks are tried, how many that have an offset, and how many whose offset misses its section. A file with
// more updates is cut after them. Where line ends were lost, all offsets are wrong, so a few are enough to tell.
constexpr int MostMarks = 16384;
constexpr int MostEnds = 1024;
constexpr int MostNearSections = 12;
// How many headers at sector starts are passed without an end: of attached files, or of the files after a damaged one.
constexpr int MostHeaders = 4;
// In bytes. How much is searched at once: little, so that a medium full of headers is noticed early.
constexpr std::size_t PartBytes = 4096;
// No object is longer than the first; within the second, one object end is as good as many.
constexpr std::int64_t LongestObject = 0x8000000;
constexpr std::int64_t ObjectGap = 0x100000;

bool IsDigit(std::uint8_t byte) { return byte >= '0' && byte <= '9'; }
bool IsWhite(std::uint8_t byte) { return byte == ' ' || (byte >= 0x09 && byte <= 0x0D && byte != 0x0B); }
bool IsWhiteOrZero(std::uint8_t byte) { return byte == 0 || IsWhite(byte); }

template <class Is>
ByteSpan Behind(ByteSpan text, Is is) {
    return text.subspan(static_cast<std::size_t>(std::ranges::find_if_not(text, is) - text.begin()));
}

// The text after a number and its white space; empty if there is none.
ByteSpan AfterNumber(ByteSpan text) {
    const ByteSpan behind = Behind(text, IsDigit);
    return behind.size() == text.size() ? ByteSpan() : Behind(behind, IsWhite);
}

// Object number, generation and "obj".
bool IsObjectStart(ByteSpan text) { return StartsWith(AfterNumber(AfterNumber(text)), Object); }

// A number with too many digits is larger than any offset.
std::optional<std::int64_t> NumberAt(ByteSpan text) {
    text = Behind(text, IsWhite);
    if (text.empty() || !IsDigit(text[0])) {
        return std::nullopt;
    }
    constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max() / 4;
    std::int64_t number = 0;
    for (std::size_t i = 0; i < text.size() && IsDigit(text[i]); ++i) {
        number = number > largest / 10 - 1 ? largest : number * 10 + (text[i] - '0');
    }
    return number;
}

// Does the file go on at `at`? Comments do, unless they open another file.
bool GoesOnAt(FileWindow& file, std::int64_t at) {
    const ByteSpan shown = file.From(at, MostWhite + TailBytes);
    const ByteSpan text = Behind(shown, IsWhiteOrZero);
    if (text.empty() || shown.size() - text.size() > MostWhite) {
        return false;
    }
    if (text[0] == '%') {
        return !StartsWith(text, HeaderStart) && !StartsWith(text, PostScriptStart);
    }
    return IsObjectStart(text) || StartsWith(text, TableBytes) || StartsWith(text, Trailer) ||
           StartsWith(text, StartXrefBytes) || StartsWith(text, EndStream) || StartsWith(text, EndObject) ||
           StartsWith(text, DictionaryStart);
}

// Where a linearized file says that it ends, if that is true.
std::optional<std::int64_t> LinearizedEnd(FileWindow& file) {
    ByteSpan text = file.From(0, LinearizedBytesAhead);
    text = text.first(std::min(text.size(), LinearizedBytesAhead));
    const std::optional<std::size_t> key = LinearizedMark.FindIn(text);
    if (!key) {
        return std::nullopt;
    }
    text = text.first(DictionaryEndMark.FindIn(text, *key).value_or(text.size()));
    std::optional<std::int64_t> size;
    for (auto length = LengthMark.FindIn(text); length && !size; length = LengthMark.FindIn(text, *length + 1)) {
        size = NumberAt(text.subspan(*length + LengthMark.size()));
    }
    if (!size || *size <= static_cast<std::int64_t>(LinearizedBytesAhead)) {
        return std::nullopt;
    }
    const std::int64_t tailStart = *size - TailBytes;
    const ByteSpan tail = file.At(tailStart, TailBytes);
    std::optional<std::size_t> mark = EndMark.FindIn(tail);
    while (mark && !Behind(tail.subspan(*mark + EndMark.size()), IsWhite).empty()) {
        mark = EndMark.FindIn(tail, *mark + 1);
    }
    if (!mark) {
        return std::nullopt;
    }
    return std::max(
        *size, EndOfLastLine(file, tailStart + static_cast<std::int64_t>(*mark + EndMark.size()), file.SectorSize()));
}

// Where the first key of a drawing begins between `from` and `to`.
std::optional<std::size_t> DrawingKeyIn(ByteSpan bytes, std::size_t from, std::size_t to) {
    // The letter after the common start tells the keys from other names.
    const auto difference = [](const std::uint8_t* place) {
        constexpr std::size_t letter = DrawingStart.size();
        return static_cast<std::uint8_t>(
            (place[0] ^ DrawingStart[0]) | (place[1] ^ DrawingStart[1]) | (place[2] ^ DrawingStart[2]) |
            (static_cast<unsigned>(place[letter] != 'P') & static_cast<unsigned>(place[letter] != 'M')));
    };
    const auto isKey = [bytes](std::size_t place) {
        const ByteSpan key = bytes.subspan(place);
        return StartsWith(key, PrivateData) || StartsWith(key, PrivatePdf) || StartsWith(key, MetaData);
    };
    const std::size_t end = std::min(to, bytes.size() - std::min(bytes.size(), DrawingStart.size()));
    return from < end ? FindPlace(bytes.data(), from, end, difference, isKey) : std::nullopt;
}

class PdfWalk {
public:
    PdfWalk(FileWindow& file, PdfMemory& memory) : file_(file), memory_(memory) {}

    std::optional<PdfExtent> Run();

private:
    bool HasEnd() const { return end_ > 0 || spareEnd_ > 0; }
    std::optional<std::size_t> FindEnd(std::int64_t at, ByteSpan bytes);
    void FindDrawing(std::int64_t at, ByteSpan bytes, std::size_t count, bool isMark);
    std::optional<std::size_t> HeaderTooMany(std::int64_t at, ByteSpan bytes) const;
    void PassHeaders(std::int64_t at, ByteSpan bytes, std::size_t count);
    void PassObjects(std::int64_t at, ByteSpan bytes);
    void PassEnd(std::int64_t mark);
    std::optional<std::int64_t> OffsetBefore(std::int64_t mark);
    bool IsSection(std::int64_t offset);
    bool IsNearSection(std::int64_t offset, std::int64_t mark);
    bool IsOwn(std::int64_t offset, std::int64_t mark);

    FileWindow& file_;
    PdfMemory& memory_;
    // The end so far, and one to fall back on; 0 if there is none.
    std::int64_t end_ = 0;
    std::int64_t spareEnd_ = 0;
    // Ends are looked for from here on.
    std::int64_t endsFrom_ = 1;
    // The last header passed; 0 if there is none.
    std::int64_t otherFile_ = 0;
    int headers_ = 0;
    // Near the end of the last object that was looked for.
    std::int64_t objectAt_ = 0;
    int marks_ = 0;
    int ends_ = 0;
    int nearSections_ = 0;
    bool isOver_ = false;
    std::int64_t drawingAt_ = std::numeric_limits<std::int64_t>::max();
};

std::optional<PdfExtent> PdfWalk::Run() {
    std::int64_t limit = file_.Limit();
    if (const std::optional<std::int64_t> end = LinearizedEnd(file_)) {
        end_ = *end;
        endsFrom_ = *end;
        if (!GoesOnAt(file_, *end)) {
            limit = *end;
        }
    }
    std::int64_t at = 0;
    while (at < limit && !isOver_) {
        ByteSpan bytes = file_.From(at, LongestMark);
        bytes = bytes.first(std::min(bytes.size(), PartBytes));
        if (bytes.empty()) {
            break;
        }
        // No text that is searched for reaches into a header.
        const std::optional<std::size_t> stop = HeaderTooMany(at, bytes);
        bytes = bytes.first(stop.value_or(bytes.size()));
        const std::optional<std::size_t> mark = FindEnd(at, bytes);
        // The places before the mark, or all at which a whole one could begin.
        const std::size_t count =
            mark.value_or(stop || bytes.size() < LongestMark ? bytes.size() : bytes.size() - LongestMark + 1);
        if (drawingAt_ >= at) {
            FindDrawing(at, bytes, count, mark.has_value());
        }
        if (stop && !mark) {
            break;
        }
        PassHeaders(at, bytes, count);
        PassObjects(at, bytes.first(count));
        at += static_cast<std::int64_t>(count);
        if (mark && !isOver_) {
            PassEnd(at);
            at += static_cast<std::int64_t>(EndMark.size());
        }
    }
    if (!HasEnd()) {
        return std::nullopt;
    }
    const std::int64_t size = end_ > 0 ? end_ : spareEnd_;
    return PdfExtent{size, drawingAt_ < size};
}

// The first end mark that lies wholly in the bytes.
std::optional<std::size_t> PdfWalk::FindEnd(std::int64_t at, ByteSpan bytes) {
    const std::int64_t place = memory_.PlaceOf(at);
    const std::int64_t end = place + std::ssize(bytes) - std::ssize(EndMarkBytes) + 1;
    const std::int64_t searchedTo = memory_.ends.SearchedTo(place);
    std::optional<std::int64_t> found = searchedTo > place ? memory_.ends.FirstFrom(place) : std::nullopt;
    if (found && *found >= end) {
        return std::nullopt;
    }
    if (!found && searchedTo < end) {
        const auto mark = EndMark.FindIn(bytes, static_cast<std::size_t>(searchedTo - place));
        found = mark ? std::optional(place + static_cast<std::int64_t>(*mark)) : std::nullopt;
        // No other begins inside a mark.
        memory_.ends.Note(place, found ? *found + std::ssize(EndMarkBytes) : end, found);
    }
    return found ? std::optional(static_cast<std::size_t>(*found - place)) : std::nullopt;
}

// Looks for a drawing's key in the first `count` bytes, which an end mark follows if `isMark`. Not further, or a piece
// full of end marks would be searched again from each of them.
void PdfWalk::FindDrawing(std::int64_t at, ByteSpan bytes, std::size_t count, bool isMark) {
    const std::int64_t place = memory_.PlaceOf(at);
    const std::int64_t end = place + static_cast<std::int64_t>(count);
    const std::int64_t searchedTo = memory_.keys.SearchedTo(place);
    std::optional<std::int64_t> found = searchedTo > place ? memory_.keys.FirstFrom(place) : std::nullopt;
    if (!found && searchedTo < end) {
        const auto key = DrawingKeyIn(bytes, static_cast<std::size_t>(searchedTo - place), count);
        found = key ? std::optional(place + static_cast<std::int64_t>(*key)) : std::nullopt;
        // No key reaches into a mark. Where the bytes are cut, a later walk may see more than begins there.
        const std::int64_t whole = place + std::max<std::int64_t>(std::ssize(bytes) - std::ssize(PrivatePdf) + 1, 0);
        const std::int64_t searched = isMark ? end + std::ssize(EndMarkBytes) : std::min(end, whole);
        memory_.keys.Note(place, found ? *found + 1 : searched, found);
    }
    if (found && *found < end) {
        drawingAt_ = at + (*found - place);
    }
}

// Where the header begins that ends the walk, unless an end mark comes first.
std::optional<std::size_t> PdfWalk::HeaderTooMany(std::int64_t at, ByteSpan bytes) const {
    const std::int64_t sectorSize = file_.SectorSize();
    const std::int64_t from = std::max(at, endsFrom_);
    const std::int64_t to = at + static_cast<std::int64_t>(bytes.size());
    int headers = headers_;
    for (std::int64_t sector = (from + sectorSize - 1) / sectorSize * sectorSize; sector < to; sector += sectorSize) {
        const auto place = static_cast<std::size_t>(sector - at);
        if (IsPdfHeader(bytes.subspan(place)) && (HasEnd() || ++headers > MostHeaders)) {
            return place;
        }
    }
    return std::nullopt;
}

void PdfWalk::PassHeaders(std::int64_t at, ByteSpan bytes, std::size_t count) {
    const std::int64_t sectorSize = file_.SectorSize();
    const std::int64_t from = std::max(at, endsFrom_);
    const std::int64_t to = at + static_cast<std::int64_t>(count);
    for (std::int64_t sector = (from + sectorSize - 1) / sectorSize * sectorSize; sector < to; sector += sectorSize) {
        if (IsPdfHeader(bytes.subspan(static_cast<std::size_t>(sector - at)))) {
            otherFile_ = sector;
            if (HasEnd() || ++headers_ > MostHeaders) {
                isOver_ = true;
                return;
            }
        }
    }
}

// Where no object has ended for this long, the file is damaged; its end must not be sought across a whole medium.
void PdfWalk::PassObjects(std::int64_t at, ByteSpan bytes) {
    if (at - objectAt_ < ObjectGap) {
        return;
    }
    if (EndObjectMark.FindIn(bytes)) {
        objectAt_ = at;
    }
    isOver_ = isOver_ || at - objectAt_ >= LongestObject;
}

void PdfWalk::PassEnd(std::int64_t mark) {
    isOver_ = ++marks_ == MostMarks;
    const std::optional<std::int64_t> offset = mark < endsFrom_ ? std::nullopt : OffsetBefore(mark);
    if (!offset) {
        return;
    }
    const bool isOwn = IsOwn(*offset, mark);
    const std::int64_t end = EndOfLastLine(file_, mark + static_cast<std::int64_t>(EndMark.size()), file_.SectorSize());
    const bool isLast = !GoesOnAt(file_, end);
    isOver_ = isOver_ || ++ends_ == MostEnds;
    if (isOwn) {
        end_ = end;
        isOver_ = isOver_ || isLast;
    } else if (otherFile_ > 0) {
        // A file here that is not inside this one ends this one.
        isOver_ = isOver_ || isLast;
    } else if (isLast && spareEnd_ == 0 && *offset <= mark + LostBytes) {
        spareEnd_ = end;
    }
}

// The number after the `startxref` that precedes an end mark.
std::optional<std::int64_t> PdfWalk::OffsetBefore(std::int64_t mark) {
    const std::int64_t length = std::min(mark, TailBytes);
    ByteSpan text = file_.At(mark - length, static_cast<std::size_t>(length));
    std::optional<std::int64_t> number;
    for (auto word = StartXrefMark.FindIn(text); word; word = StartXrefMark.FindIn(text)) {
        text = text.subspan(*word + StartXrefBytes.size());
        number = NumberAt(text);
    }
    return number;
}

// Does this end mark belong to the file itself? The first part of a linearized file gives 0 for its offset; nothing of
// a file ends there. Linearized files of one program have their sections at the same offset, so one that lost its end
// could take its neighbour's for its own.
bool PdfWalk::IsOwn(std::int64_t offset, std::int64_t mark) {
    if (offset == 0 || offset > mark + LostBytes) {
        return false;
    }
    const bool isExact = offset < mark && IsSection(offset);
    return otherFile_ > 0 ? isExact && !IsSection(otherFile_ + offset) : isExact || IsNearSection(offset, mark);
}

bool PdfWalk::IsSection(std::int64_t offset) {
    ByteSpan text = file_.From(offset, SectionStartBytes);
    text = Behind(text.first(std::min(text.size(), SectionStartBytes)), IsWhite);
    return StartsWith(text, TableBytes) || IsObjectStart(text);
}

bool PdfWalk::IsNearSection(std::int64_t offset, std::int64_t mark) {
    const std::int64_t from = std::max<std::int64_t>(offset - LostBytes, 0);
    const std::int64_t to = std::min(offset + GainedBytes, mark);
    if (from >= to || ++nearSections_ > MostNearSections) {
        return false;
    }
    const ByteSpan text = file_.At(from, static_cast<std::size_t>(to - from));
    if (StreamMark.FindIn(text)) {
        return true;
    }
    for (auto word = TableMark.FindIn(text); word; word = TableMark.FindIn(text, *word + 1)) {
        if (*word < Start.size() || !HasPatternAt(text, *word - Start.size(), Start)) {
            return true;
        }
    }
    return false;
}

}  // namespace

bool IsPdfHeader(ByteSpan bytes) {
    constexpr std::size_t major = HeaderStart.size();
    return bytes.size() >= major + 3 && StartsWith(bytes, HeaderStart) &&
           (bytes[major] == '1' || bytes[major] == '2') && bytes[major + 1] == '.' && IsDigit(bytes[major + 2]);
}

std::optional<PdfExtent> FindPdfEnd(FileWindow& file, PdfMemory& memory) { return PdfWalk(file, memory).Run(); }

std::int64_t EndOfLastLine(ByteWindow& file, std::int64_t at, std::int64_t sectorSize) {
    ByteSpan text = file.From(at, MostTail + 1);
    text = text.first(std::min(text.size(), MostTail + 1));
    const std::size_t white = text.size() - Behind(text, IsWhite).size();
    const auto whiteEnd = at + static_cast<std::int64_t>(white);
    const bool isEndShown = white <= MostTail;
    if (isEndShown && (white == text.size() || text[white] == 0)) {
        return whiteEnd;
    }
    std::int64_t end = at;
    if (white > 0 && (text[0] == '\r' || text[0] == '\n')) {
        end += white > 1 && text[0] == '\r' && text[1] == '\n' ? 2 : 1;
    }
    // The sector after the file may hold another one.
    end = std::max(end, whiteEnd - whiteEnd % sectorSize);
    return isEndShown && whiteEnd - end > MostChanceWhite ? whiteEnd : end;
}
