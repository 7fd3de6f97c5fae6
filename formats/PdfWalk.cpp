#include "formats/PdfWalk.h"

#include <algorithm>
#include <limits>
#include <span>

#include "frame/bytes/BytePattern.h"
#include "frame/bytes/PlaceSearch.h"

namespace {

constexpr auto HeaderStart = PatternOf("%PDF-");
// With a digit, a point and a digit.
constexpr std::size_t HeaderBytes = HeaderStart.size() + 3;
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

// How many places the bytes have at which that many begin; none or fewer if they are fewer.
std::int64_t PlacesFor(std::size_t length, ByteSpan bytes) {
    return std::ssize(bytes) - static_cast<std::int64_t>(length) + 1;
}

// For `SearchedPlaces`: calls `visit(place)` for each occurrence of the mark in bytes that begin at `place`.
auto ForEach(const BytePattern& mark, std::int64_t place, ByteSpan bytes) {
    return [&mark, place, bytes](std::int64_t from, std::int64_t to, auto visit) {
        mark.ForEachIn(bytes.first(static_cast<std::size_t>(to - place) + mark.size() - 1),
                       static_cast<std::size_t>(from - place),
                       [&](std::size_t offset) { visit(place + static_cast<std::int64_t>(offset)); });
    };
}

// The same for the keys of drawings.
auto ForEachKey(std::int64_t place, ByteSpan bytes) {
    return [place, bytes](std::int64_t from, std::int64_t to, auto visit) {
        auto at = static_cast<std::size_t>(from - place);
        const auto end = static_cast<std::size_t>(to - place);
        for (auto key = DrawingKeyIn(bytes, at, end); key; key = DrawingKeyIn(bytes, at, end)) {
            visit(place + static_cast<std::int64_t>(*key));
            at = *key + 1;
        }
    };
}

class PdfWalk {
public:
    PdfWalk(FileWindow& file, PdfMemory& memory) : file_(file), memory_(memory) {}

    std::optional<PdfExtent> Run();

private:
    static constexpr std::int64_t NoOffset = std::numeric_limits<std::int64_t>::max();
    static constexpr std::int64_t NoPiece = -1;

    bool HasEnd() const { return end_ > 0 || spareEnd_ > 0; }
    std::optional<std::size_t> FindEnd(std::int64_t at, ByteSpan bytes);
    void FindDrawing(std::int64_t at, ByteSpan bytes, std::size_t count, bool isMark);
    std::int64_t PassIdleMarks(std::int64_t at);
    PdfSigns& SignsOf(ByteSpan bytes);
    void LearnHeaders(std::int64_t at, ByteSpan bytes);
    void LearnWords(std::int64_t at, ByteSpan bytes);
    std::size_t MoreHeaders() const;
    void LookForHeaders(std::int64_t at, ByteSpan bytes);
    std::optional<std::size_t> HeaderTooMany(std::int64_t at, ByteSpan bytes) const;
    void PassHeaders(std::int64_t at, std::int64_t to);
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
    // Of the piece with this number, unless it is of the block.
    PdfSigns signs_;
    std::int64_t signsPiece_ = 0;
    // The next header, and the one that ends the walk, as far as the piece with this number shows them, from an offset
    // on; and whether there was an end when they were looked for.
    std::int64_t nextHeader_ = NoOffset;
    std::int64_t headerTooMany_ = NoOffset;
    std::int64_t headersPiece_ = NoPiece;
    std::int64_t headersFrom_ = 0;
    bool hadEnd_ = false;
    // Near the end of the last object that was looked for.
    std::int64_t objectAt_ = 0;
    int marks_ = 0;
    int ends_ = 0;
    int nearSections_ = 0;
    bool isOver_ = false;
    // The last mark had no offset before it.
    bool isIdle_ = false;
    std::int64_t drawingAt_ = NoOffset;
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
        at = isIdle_ ? PassIdleMarks(at) : at;
        ByteSpan bytes = file_.From(at, LongestMark);
        if (bytes.empty()) {
            break;
        }
        LookForHeaders(at, bytes);
        bytes = bytes.first(std::min(bytes.size(), PartBytes));
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
        PassHeaders(at, at + static_cast<std::int64_t>(count));
        PassObjects(at, bytes.first(count));
        at += static_cast<std::int64_t>(count);
        isIdle_ = false;
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
    const std::int64_t end = place + PlacesFor(EndMark.size(), bytes);
    const std::int64_t searchedTo = memory_.ends.SearchedTo(place);
    std::optional<std::int64_t> found = searchedTo > place ? memory_.ends.FirstFrom(place) : std::nullopt;
    if (found && *found >= end) {
        return std::nullopt;
    }
    if (!found && searchedTo < end) {
        found = SignsOf(bytes).ends.Find(searchedTo, end, ForEach(EndMark, place, bytes));
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
        // Where the bytes are cut, a later walk may see more than begins there.
        const std::int64_t whole = place + std::max<std::int64_t>(PlacesFor(LongestMark, bytes), 0);
        found = SignsOf(bytes).keys.Find(searchedTo, std::min(end, whole), ForEachKey(place, bytes));
        if (const std::int64_t cut = std::max(searchedTo, whole); !found && cut < end) {
            const auto key = DrawingKeyIn(bytes, static_cast<std::size_t>(cut - place), count);
            found = key ? std::optional(place + static_cast<std::int64_t>(*key)) : std::nullopt;
        }
        // No key reaches into a mark.
        const std::int64_t searched = isMark ? end + std::ssize(EndMarkBytes) : std::min(end, whole);
        memory_.keys.Note(place, found ? *found + 1 : searched, found);
    }
    if (found && *found < end) {
        drawingAt_ = at + (*found - place);
    }
}

// Moves behind end marks that change nothing, because no offset comes before them: as far as the current piece shows
// them.
std::int64_t PdfWalk::PassIdleMarks(std::int64_t at) {
    const std::int64_t from = std::max<std::int64_t>(at - TailBytes, 0);
    const ByteSpan shown = file_.Shown(from);
    const auto ahead = static_cast<std::size_t>(at - from);
    if (at < endsFrom_ || shown.size() < ahead + LongestMark) {
        return at;
    }
    LearnWords(from, shown.first(std::min(shown.size(), PartBytes)));
    const ByteSpan bytes = shown.subspan(ahead, std::min(shown.size() - ahead, PartBytes));
    const PdfSigns& signs = SignsOf(bytes);
    const std::int64_t place = memory_.PlaceOf(at);
    std::int64_t to = std::min({signs.words.SearchedTo(memory_.PlaceOf(from)), place + PlacesFor(LongestMark, bytes),
                                memory_.PlaceOf(objectAt_ + ObjectGap)});
    // A mark has the words in front of it that end there or before.
    if (const auto word = signs.words.FirstFrom(memory_.PlaceOf(from))) {
        to = std::min(to, *word + std::ssize(StartXrefBytes));
    }
    if (to < place + std::ssize(EndMarkBytes)) {
        return at;
    }
    LookForHeaders(at, shown.subspan(ahead));
    if (const std::optional<std::size_t> header = HeaderTooMany(at, bytes)) {
        to = std::min(to, place + static_cast<std::int64_t>(*header));
    }
    memory_.ends.NoteAll(place, to, ForEach(EndMark, place, bytes));
    memory_.keys.NoteAll(place, to, ForEachKey(place, bytes));
    if (const auto key = memory_.keys.FirstFrom(place)) {
        to = std::min(to, *key);
    }
    std::span<const std::int64_t> marks = memory_.ends.Between(place, to - std::ssize(EndMarkBytes) + 1);
    marks = marks.first(std::min(marks.size(), static_cast<std::size_t>(MostMarks - 1 - marks_)));
    if (marks.empty()) {
        return at;
    }
    marks_ += static_cast<int>(marks.size());
    const std::int64_t mark = at + (marks.back() - place);
    PassHeaders(at, mark);
    return mark + std::ssize(EndMarkBytes);
}

// The signs that are noted for the bytes of the current piece.
PdfSigns& PdfWalk::SignsOf(ByteSpan bytes) {
    if (file_.IsOfBlock(bytes)) {
        return memory_.inBlock;
    }
    if (signsPiece_ != file_.PieceCount()) {
        signsPiece_ = file_.PieceCount();
        signs_.Clear();
    }
    return signs_;
}

void PdfWalk::LearnHeaders(std::int64_t at, ByteSpan bytes) {
    const std::int64_t sectorSize = file_.SectorSize();
    const std::int64_t place = memory_.PlaceOf(at);
    SignsOf(bytes).headers.NoteAll(place, place + PlacesFor(HeaderBytes, bytes),
                                   [&](std::int64_t from, std::int64_t to, auto visit) {
                                       const std::int64_t first = at + (from - place);
                                       for (std::int64_t sector = (first + sectorSize - 1) / sectorSize * sectorSize;
                                            sector - at < to - place; sector += sectorSize) {
                                           if (IsPdfHeader(bytes.subspan(static_cast<std::size_t>(sector - at)))) {
                                               visit(memory_.PlaceOf(sector));
                                           }
                                       }
                                   });
}

void PdfWalk::LearnWords(std::int64_t at, ByteSpan bytes) {
    const std::int64_t place = memory_.PlaceOf(at);
    SignsOf(bytes).words.NoteAll(place, place + PlacesFor(StartXrefBytes.size(), bytes),
                                 ForEach(StartXrefMark, place, bytes));
}

// How many more headers may be passed.
std::size_t PdfWalk::MoreHeaders() const { return HasEnd() ? 0 : static_cast<std::size_t>(MostHeaders - headers_); }

// Brings the headers at and behind `at` up to date: those in the current piece, of which these are all bytes from `at`.
void PdfWalk::LookForHeaders(std::int64_t at, ByteSpan bytes) {
    const std::int64_t to = at + PlacesFor(HeaderBytes, bytes);
    if (headersPiece_ == file_.PieceCount() && headersFrom_ <= at && hadEnd_ == HasEnd()) {
        return;
    }
    LearnHeaders(at, bytes);
    const auto headers = SignsOf(bytes).headers.Between(memory_.PlaceOf(std::max(at, endsFrom_)), memory_.PlaceOf(to));
    const auto offsetOf = [&](std::size_t which) {
        return which < headers.size() ? at + (headers[which] - memory_.PlaceOf(at)) : NoOffset;
    };
    nextHeader_ = offsetOf(0);
    headerTooMany_ = offsetOf(MoreHeaders());
    headersPiece_ = file_.PieceCount();
    headersFrom_ = at;
    hadEnd_ = HasEnd();
}

// Where the header begins that ends the walk, unless an end mark comes first.
std::optional<std::size_t> PdfWalk::HeaderTooMany(std::int64_t at, ByteSpan bytes) const {
    // It must be wholly in the bytes.
    const bool isShown = headerTooMany_ < at + PlacesFor(HeaderBytes, bytes);
    return isShown ? std::optional(static_cast<std::size_t>(headerTooMany_ - at)) : std::nullopt;
}

// Passes the headers from `at` on and before `to`, which are not too many.
void PdfWalk::PassHeaders(std::int64_t at, std::int64_t to) {
    if (nextHeader_ >= to) {
        return;
    }
    const ByteSpan bytes = file_.Shown(at);
    const auto headers = SignsOf(bytes).headers.Between(memory_.PlaceOf(std::max(at, endsFrom_)), memory_.PlaceOf(to));
    otherFile_ = at + (headers.back() - memory_.PlaceOf(at));
    headers_ += static_cast<int>(headers.size());
    // Those behind are looked for anew.
    headersPiece_ = NoPiece;
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
    isIdle_ = !offset;
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
    const std::int64_t from = mark - length;
    const ByteSpan text = file_.From(from, static_cast<std::size_t>(length));
    if (std::ssize(text) < length) {
        return std::nullopt;
    }
    LearnWords(from, text.first(std::min(text.size(), PartBytes)));
    const auto words =
        SignsOf(text).words.Between(memory_.PlaceOf(from), memory_.PlaceOf(mark) - std::ssize(StartXrefBytes) + 1);
    if (words.empty()) {
        return std::nullopt;
    }
    const std::int64_t number = words.back() - memory_.PlaceOf(from) + std::ssize(StartXrefBytes);
    return NumberAt(text.subspan(static_cast<std::size_t>(number), static_cast<std::size_t>(length - number)));
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
    return bytes.size() >= HeaderBytes && StartsWith(bytes, HeaderStart) &&
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
