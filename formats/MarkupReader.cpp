#include "formats/MarkupReader.h"

#include <algorithm>
#include <array>

#include "formats/MarkupMemory.h"
#include "frame/bytes/PlaceSearch.h"

namespace {

constexpr auto Utf8Mark = PatternOf("\xEF\xBB\xBF");
constexpr auto LittleMark = PatternOf("\xFF\xFE");
constexpr auto BigMark = PatternOf("\xFE\xFF");

// In bytes: the longest XML declaration, and how far from the start a root element may begin.
constexpr std::int64_t DeclarationLimit = 256;
constexpr std::int64_t PrologLimit = 0x10000;
constexpr std::size_t MaxName = 256;

template <class Accept>
constexpr std::array<bool, 256> BytesThat(Accept accept) {
    std::array<bool, 256> table{};
    for (unsigned byte = 0; byte < table.size(); ++byte) {
        table[byte] = accept(static_cast<char16_t>(byte));
    }
    return table;
}

// Characters of one byte that are text, and those that mean nothing inside a tag.
constexpr auto IsText = BytesThat(IsTextChar);
constexpr auto IsPlain = BytesThat([](char16_t c) { return IsTextChar(c) && c != '>' && c != '"' && c != '\''; });

// How a byte differs from others: 0 if it equals one of them. Without comparisons, which keep compilers from using
// vector instructions.
template <class... Others>
constexpr std::uint8_t DifferenceFrom(std::uint8_t byte, Others... others) {
    std::uint8_t least = 0xFF;
    ((least = std::min(least, static_cast<std::uint8_t>(byte ^ static_cast<std::uint8_t>(others)))), ...);
    return least;
}

// 0 for bytes that are not text, as `IsTextChar` has it.
constexpr std::uint8_t DifferenceFromControl(std::uint8_t byte) {
    const auto isWhite = static_cast<unsigned>(DifferenceFrom(byte, '\n', '\r', '\t', '\f', '\x1B') == 0);
    return static_cast<std::uint8_t>((byte & 0xE0U) | isWhite);
}

constexpr bool IsNameStart(char16_t c) {
    const char16_t letter = FoldLetter(c);
    return (letter >= 'a' && letter <= 'z') || c == '_' || c == ':' || c >= 0x80;
}

constexpr bool IsNameChar(char16_t c) { return IsNameStart(c) || (c >= '0' && c <= '9') || c == '-' || c == '.'; }

// The name without its prefix, in any letter case.
bool IsHtmlName(std::u16string_view name) {
    name.remove_prefix(name.rfind(u':') + 1);
    return std::ranges::equal(name, std::u16string_view(u"html"), {}, FoldLetter);
}

}  // namespace

TextForm TextForm::Of(ByteSpan start) {
    if (StartsWith(start, LittleMark) || StartsWith(start, BigMark)) {
        return {.width = 2, .isBigEndian = start[0] == BigMark[0], .markBytes = BigMark.size()};
    }
    return {.markBytes = StartsWith(start, Utf8Mark) ? Utf8Mark.size() : 0};
}

bool BeginsXml(ByteSpan sector) {
    constexpr auto declaration = PatternOf("<?xml");
    if (sector.size() < MinXmlSector) {
        return false;
    }
    const TextForm form = TextForm::Of(sector);
    for (std::size_t i = 0; i < declaration.size(); ++i) {
        if (form.CharAt(sector, form.markBytes + i * form.width) != declaration[i]) {
            return false;
        }
    }
    return true;
}

// The buffer of the view is filled before it is read.
// NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init)
MarkupReader::MarkupReader(ByteWindow& file, int mostDocuments, MarkupMemory* memory)
    : file_(file), mostDocuments_(mostDocuments), memory_(memory), form_(TextForm::Of(file.From(0, Utf8Mark.size()))) {
    GoTo(static_cast<std::int64_t>(form_.markBytes));
}

void MarkupReader::GoTo(std::int64_t at) {
    const std::size_t index = static_cast<std::size_t>(at - start_) >> (form_.width - 1);
    if (at >= start_ && index <= view_.size() && start_ + static_cast<std::int64_t>(index * form_.width) == at) {
        index_ = index;
        return;
    }
    view_ = {};
    start_ = at;
    index_ = 0;
}

bool MarkupReader::PassTo(std::int64_t to) {
    const std::int64_t from = At();
    while (At() < to && Fill(1)) {
        index_ = view_.size();
        if (At() > to) {
            GoTo(to);
        }
    }
    const bool hasPassed = At() == to;
    if (!hasPassed) {
        GoTo(from);
    }
    return hasPassed;
}

void MarkupReader::EndAt(std::int64_t limit) {
    Forget();
    limit_ = limit;
}

void MarkupReader::Forget() {
    start_ = At();
    index_ = 0;
    view_ = {};
}

bool MarkupReader::Fill(std::size_t characters) {
    if (view_.size() - index_ < characters) {
        start_ = At();
        index_ = 0;
        bytes_ = file_.From(start_, characters * form_.width);
        CountDocuments();
        const std::int64_t left = std::max<std::int64_t>(std::min(limit_, stop_) - start_, 0);
        if (static_cast<std::int64_t>(bytes_.size()) > left) {
            bytes_ = bytes_.first(static_cast<std::size_t>(left));
        }
        if (form_.width == 1) {
            view_ = bytes_;
        } else {
            ShowWide();
        }
    }
    return index_ < view_.size();
}

void MarkupReader::ShowWide() {
    const std::size_t count = std::min(bytes_.size() / 2, WideView);
    // One loop for each byte order, so that compilers vectorise both.
    const auto show = [&](std::size_t high) {
        const std::uint8_t* const bytes = bytes_.data();
        for (std::size_t i = 0; i < count; ++i) {
            const std::uint8_t upper = bytes[2 * i + high];
            const std::uint8_t lower = bytes[2 * i + 1 - high];
            const bool isText = upper != 0xFF || lower < 0xFE;
            wide_[i] = upper == 0 && lower < Beyond ? lower : static_cast<std::uint8_t>(isText ? Beyond : 0);
        }
    };
    if (form_.isBigEndian) {
        show(0);
    } else {
        show(1);
    }
    view_ = ByteSpan(wide_).first(count);
}

void MarkupReader::CountDocuments() {
    const std::int64_t end = start_ + static_cast<std::int64_t>(bytes_.size()) - std::int64_t{MinXmlSector};
    for (std::int64_t at = SectorEnd(std::max(start_, documentsSoughtTo_ + 1)); at <= end && stop_ == NoLimit;
         at = SectorEnd(at + 1)) {
        documentsSoughtTo_ = at;
        documents_ += BeginsXml(bytes_.subspan(static_cast<std::size_t>(at - start_))) ? 1 : 0;
        stop_ = documents_ > mostDocuments_ ? at : NoLimit;
    }
}

bool MarkupReader::IsAt(std::u16string_view word, LetterCase letterCase) {
    for (std::size_t i = 0; i < word.size(); ++i) {
        if (index_ + i == view_.size() && (!Fill(word.size()) || index_ + i >= view_.size())) {
            return false;
        }
        const char16_t c = CharAt(index_ + i);
        if ((letterCase == LetterCase::Any ? FoldLetter(c) : c) != word[i]) {
            return false;
        }
    }
    return true;
}

bool MarkupReader::IsAtName(std::u16string_view tag, LetterCase letterCase) {
    const std::int64_t at = At();
    const bool stands = Take(tag, letterCase) && IsNameEnd(Peek());
    GoTo(at);
    return stands;
}

bool MarkupReader::Take(std::u16string_view word, LetterCase letterCase) {
    if (!IsAt(word, letterCase)) {
        return false;
    }
    index_ += word.size();
    return true;
}

template <class IsStop, class Difference>
void MarkupReader::PassInView(std::size_t end, const IsStop& isStop, const Difference& difference) {
    // The place is often near, and the search through the rest takes a while to begin.
    constexpr std::size_t nearBytes = 16;
    const std::size_t nearEnd = std::min(index_ + nearBytes, end);
    while (index_ < nearEnd && !isStop(view_.data() + index_)) {
        ++index_;
    }
    if (index_ == nearEnd && index_ < end) {
        index_ =
            FindPlace(view_.data(), index_, end, difference, [](std::size_t /*place*/) { return true; }).value_or(end);
    }
}

void MarkupReader::PassUpTo(std::u16string_view mark) {
    // Three characters are compared: in a shorter mark some of them twice, and the caller compares a longer one.
    const std::size_t second = std::min<std::size_t>(1, mark.size() - 1);
    const std::size_t last = mark.size() - 1;
    const auto first = static_cast<std::uint8_t>(mark[0]);
    const auto middle = static_cast<std::uint8_t>(mark[second]);
    const auto end = static_cast<std::uint8_t>(mark[last]);
    if (view_.size() - index_ > last) {
        PassInView(
            view_.size() - last,
            [=](const std::uint8_t* place) {
                return !IsText[*place] || (*place == first && place[second] == middle && place[last] == end);
            },
            [=](const std::uint8_t* place) {
                const int fromMark = (place[0] ^ first) | (place[second] ^ middle) | (place[last] ^ end);
                return std::min(DifferenceFromControl(*place), static_cast<std::uint8_t>(fromMark));
            });
    }
}

bool MarkupReader::Seek(char16_t c) {
    while (Peek() != c && Peek() != End) {
        PassUpTo({&c, 1});
    }
    return Peek() != End;
}

void MarkupReader::SkipWhite() {
    for (char16_t c = Peek(); IsWhite(c); c = Peek()) {
        Next();
        SkipRow(c);
    }
}

void MarkupReader::SkipRow(char16_t c) {
    constexpr std::uint64_t ones = 0x0101010101010101;
    while (view_.size() - index_ >= sizeof(ones) && LoadLittle<std::uint64_t>(view_, index_) == c * ones) {
        index_ += sizeof(ones);
    }
}

bool MarkupReader::TakePast(std::u16string_view mark) {
    for (;;) {
        PassUpTo(mark);
        if (Take(mark)) {
            return true;
        }
        if (Next() == End) {
            return false;
        }
    }
}

std::u16string MarkupReader::TakeName(std::size_t most) {
    std::u16string name;
    if (!IsNameStart(Peek())) {
        return name;
    }
    while (IsNameChar(Peek())) {
        if (name.size() == most) {
            return {};
        }
        name.push_back(Next());
    }
    return name;
}

std::size_t MarkupReader::CountPlain(std::size_t from) const {
    std::size_t at = from;
    while (at < view_.size() && IsPlain[view_[at]]) {
        ++at;
    }
    return at - from;
}

bool MarkupReader::PassQuoted() {
    if (index_ == view_.size() || (view_[index_] != '"' && view_[index_] != '\'')) {
        return false;
    }
    const std::uint8_t quote = view_[index_];
    std::size_t end = index_ + 1;
    while (end < view_.size() && view_[end] != quote && IsText[view_[end]]) {
        ++end;
    }
    const bool isClosed = end < view_.size() && view_[end] == quote;
    index_ = isClosed ? end + 1 : index_;
    return isClosed;
}

std::size_t MarkupReader::PassValues() {
    do {
        index_ += CountPlain(index_);
    } while (PassQuoted());
    return index_;
}

std::optional<ByteSpan> MarkupReader::TakePlainTag() {
    const std::size_t from = index_ + 1;
    if (from >= view_.size() || view_[index_] != '<' || view_[from] == '!' || view_[from] == '?') {
        return std::nullopt;
    }
    const std::size_t length = CountPlain(from);
    if (from + length == view_.size() || view_[from + length] != '>') {
        return std::nullopt;
    }
    const ByteSpan tag = view_.subspan(from, length);
    if (form_.width > 1 && std::ranges::find(tag, Beyond) != tag.end()) {
        return std::nullopt;
    }
    index_ = from + length + 1;
    return tag;
}

void MarkupReader::PassInnerTags() {
    if (MayStartFile() || view_.size() - index_ < 2) {
        return;
    }
    const std::int64_t inSector = At() % SmallestSector;
    const std::int64_t next = inSector < MarkBytes() ? MarkBytes() : SmallestSector;
    const std::size_t before = static_cast<std::size_t>(next - inSector) / form_.width;
    PassInView(
        std::min(view_.size() - 1, index_ + before),
        [](const std::uint8_t* place) { return !IsText[*place] || (place[0] == '<' && place[1] == '/'); },
        [](const std::uint8_t* place) {
            const int fromEndTag = (place[0] ^ '<') | (place[1] ^ '/');
            return std::min(DifferenceFromControl(*place), static_cast<std::uint8_t>(fromEndTag));
        });
}

bool MarkupReader::TakeShortRemark() {
    // The shortest is "<??>".
    constexpr std::size_t least = 4;
    constexpr std::size_t most = 64;
    const std::uint8_t* const text = view_.data() + index_;
    const std::size_t size = std::min(view_.size() - index_, most);
    if (size < least || text[0] != '<') {
        return false;
    }
    if (text[1] == '?' && text[2] != 'x') {
        for (std::size_t at = 2; at + 1 < size && IsText[text[at]]; ++at) {
            if (text[at] == '?' && text[at + 1] == '>') {
                index_ += at + 2;
                return true;
            }
        }
    } else if (text[1] == '!' && text[2] == '-' && text[3] == '-') {
        for (std::size_t at = least; at + 2 < size && IsText[text[at]]; ++at) {
            if (text[at] == '-' && text[at + 1] == '-' && text[at + 2] == '>') {
                index_ += at + 3;
                return true;
            }
        }
    }
    return false;
}

MarkupReader::Tag MarkupReader::TakeTag() {
    char16_t before = End;
    for (;;) {
        if (const std::size_t from = index_; PassValues() > from) {
            before = view_[index_ - 1];
        }
        const char16_t c = Next();
        if (c == '>') {
            return before == '/' ? Tag::Empty : Tag::Open;
        }
        const bool isQuote = c == '"' || c == '\'';
        if (c == End || (isQuote && !TakePast(std::u16string_view(&c, 1)))) {
            return Tag::Broken;
        }
        before = c;
    }
}

std::optional<bool> MarkupReader::TakeRemark() {
    constexpr std::size_t enough = 3;
    if (const std::size_t left = view_.size() - index_; left >= enough) {
        const std::uint8_t second = view_[index_ + 1];
        if (view_[index_] != '<' || (second != '?' && (second != '!' || view_[index_ + 2] != '-'))) {
            return std::nullopt;
        }
        if (TakeShortRemark()) {
            return true;
        }
    }
    if (Take(u"<!--")) {
        return TakePast(u"-->");
    }
    if (Take(u"<?")) {
        return TakePast(u"?>");
    }
    return std::nullopt;
}

std::int64_t MarkupReader::Place() const { return memory_ != nullptr ? memory_->PlaceOf(At()) : At(); }

bool MarkupReader::TakePlainDeclaration() {
    if (view_.size() - index_ < 3 || view_[index_] != '<' || view_[index_ + 1] != '!' || view_[index_ + 2] == '-' ||
        view_[index_ + 2] == '[') {
        return false;
    }
    std::size_t at = index_ + 2;
    while (at < view_.size() && IsPlain[view_[at]] && view_[at] != '<') {
        ++at;
    }
    const bool isWhole = at < view_.size() && view_[at] == '>';
    index_ = isWhole ? at + 1 : index_;
    return isWhole;
}

bool MarkupReader::TakeDeclaration() {
    if (TakePlainDeclaration()) {
        return true;
    }
    const std::int64_t place = Place();
    DeclarationWalk* const known = memory_ != nullptr ? memory_->WalkThrough(place, form_) : nullptr;
    if (known != nullptr && PassTo(At() + (known->To() - place))) {
        return FollowDeclaration(*known, *known->DepthBefore(place));
    }
    DeclarationWalk walk(place, form_);
    const bool isWhole = FollowDeclaration(walk, 0);
    if (!isWhole && memory_ != nullptr) {
        memory_->Note(std::move(walk));
    }
    return isWhole;
}

bool MarkupReader::FollowDeclaration(DeclarationWalk& walk, std::int64_t depth) {
    for (;;) {
        do {
            PassInView(
                view_.size(), [](const std::uint8_t* place) { return !IsPlain[*place] || *place == '<'; },
                [](const std::uint8_t* place) {
                    return std::min(DifferenceFromControl(*place), DifferenceFrom(*place, '<', '>', '"', '\''));
                });
        } while (PassQuoted());
        walk.GoTo(Place());
        const char16_t c = Peek();
        if (c == '<') {
            if (const std::optional<bool> remark = TakeRemark()) {
                if (!*remark) {
                    return false;
                }
                continue;
            }
            walk.Open(Place());
        }
        Next();
        const bool isQuote = c == '"' || c == '\'';
        if (isQuote && !TakePast(std::u16string_view(&c, 1))) {
            return false;
        }
        if (c == End) {
            // "<!--" is the longest mark that begins like a declaration.
            walk.End(Place(), static_cast<std::int64_t>(4 * form_.width));
            return false;
        }
        if (c == '>') {
            walk.Close();
            if (walk.Depth() <= depth) {
                walk.GoTo(Place());
                return true;
            }
        }
    }
}

std::optional<std::int64_t> MarkupReader::FileStartHere() {
    const std::int64_t at = At();
    const std::int64_t mark = MarkBytes();
    if (SectorEnd(at) == at) {
        return at;
    }
    if (at < mark || SectorEnd(at - mark) != at - mark) {
        return std::nullopt;
    }
    GoTo(at - mark);
    const bool hasMark = IsAt(form_.width == 1 ? u"\u00EF\u00BB\u00BF" : u"\uFEFF");
    GoTo(at);
    return hasMark ? std::optional(at - mark) : std::nullopt;
}

bool MarkupReader::IsZeroUpTo(std::int64_t to) {
    const auto length = static_cast<std::size_t>(std::max<std::int64_t>(to - At(), 0));
    // The view points into the piece, which may be replaced.
    Forget();
    const ByteSpan bytes = file_.At(start_, length);
    return bytes.size() == length && std::ranges::all_of(bytes, [](std::uint8_t byte) { return byte == 0; });
}

std::int64_t EndOfWhite(MarkupReader& text, std::int64_t from) {
    const std::int64_t sectorEnd = SectorEnd(from);
    std::int64_t lineEnd = from;
    text.GoTo(from);
    for (char16_t c = text.Peek(); IsWhite(c); c = text.Peek()) {
        text.Next();
        if (c == ' ') {
            text.SkipRow(c);
        }
        lineEnd = (c == '\n' || c == '\r') && text.At() <= sectorEnd ? text.At() : lineEnd;
    }
    const bool isFilledUp = text.Peek() == MarkupReader::End && text.IsZeroUpTo(SectorEnd(text.At()));
    return isFilledUp ? text.At() : lineEnd;
}

bool IsAtXmlDeclaration(MarkupReader& text) {
    const std::int64_t at = text.At();
    const bool stands = text.Take(u"<?xml") && IsWhite(text.Peek());
    text.GoTo(at);
    return stands;
}

namespace {

bool TakeXmlDeclaration(MarkupReader& text) {
    const std::int64_t start = text.At();
    if (!IsAtXmlDeclaration(text)) {
        return false;
    }
    text.Take(u"<?xml");
    text.SkipWhite();
    if (!text.Take(u"version")) {
        return false;
    }
    text.SkipWhite();
    const bool isAssigned = text.Take(u"=");
    text.SkipWhite();
    const char16_t quote = text.Next();
    text.EndAt(start + DeclarationLimit);
    return isAssigned && (quote == '"' || quote == '\'') && text.TakePast(u"?>");
}

}  // namespace

std::optional<XmlProlog> TakeXmlProlog(MarkupReader& text) {
    const std::int64_t start = text.At();
    if (!TakeXmlDeclaration(text)) {
        return std::nullopt;
    }
    text.EndAt(start + PrologLimit);
    for (bool hasType = false;;) {
        text.PassShortRemarks();
        text.SkipWhite();
        if (const std::optional<bool> remark = text.TakeRemark()) {
            if (!*remark) {
                return std::nullopt;
            }
        } else if (!hasType && text.IsAt(u"<!doctype", LetterCase::Any)) {
            const std::int64_t declaration = text.At();
            text.Take(u"<!doctype", LetterCase::Any);
            text.SkipWhite();
            if (IsHtmlName(text.TakeName(MaxName))) {
                text.EndAt(MarkupReader::NoLimit);
                return XmlProlog{.isHtml = true, .root = {}};
            }
            hasType = true;
            text.GoTo(declaration);
            if (!text.TakeDeclaration()) {
                return std::nullopt;
            }
        } else {
            const bool isTag = text.Take(u"<");
            std::u16string root = isTag ? text.TakeName(MaxName) : std::u16string();
            if (root.empty() || !IsNameEnd(text.Peek())) {
                return std::nullopt;
            }
            text.EndAt(MarkupReader::NoLimit);
            const bool isHtml = IsHtmlName(root);
            return XmlProlog{.isHtml = isHtml, .root = std::move(root)};
        }
    }
}
