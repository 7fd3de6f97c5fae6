#include "formats/MarkupReader.h"

#include <algorithm>
#include <array>

#include "frame/bytes/PlaceSearch.h"

namespace {

constexpr auto Utf8Mark = PatternOf("\xEF\xBB\xBF");
constexpr auto LittleMark = PatternOf("\xFF\xFE");
constexpr auto BigMark = PatternOf("\xFE\xFF");

// In bytes: the longest XML declaration, and how far from the start a root element may begin.
constexpr std::int64_t DeclarationLimit = 256;
constexpr std::int64_t PrologLimit = 0x10000;
constexpr std::size_t MaxName = 256;

// Characters of one byte that mean nothing inside a tag.
constexpr auto IsPlain = [] {
    std::array<bool, 256> plain{};
    for (unsigned byte = 0; byte < plain.size(); ++byte) {
        plain[byte] = IsTextChar(static_cast<char16_t>(byte)) && byte != '>' && byte != '"' && byte != '\'';
    }
    return plain;
}();

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

MarkupReader::MarkupReader(ByteWindow& file, int mostDocuments)
    : file_(file), mostDocuments_(mostDocuments), form_(TextForm::Of(file.From(0, Utf8Mark.size()))) {
    GoTo(static_cast<std::int64_t>(form_.markBytes));
}

void MarkupReader::GoTo(std::int64_t at) {
    if (at >= start_ && at - start_ <= static_cast<std::int64_t>(view_.size())) {
        index_ = static_cast<std::size_t>(at - start_);
        return;
    }
    view_ = {};
    start_ = at;
    index_ = 0;
}

bool MarkupReader::PassTo(std::int64_t to) {
    const std::int64_t from = At();
    while (At() < to && Fill(1)) {
        index_ = static_cast<std::size_t>(std::min(static_cast<std::int64_t>(view_.size()), to - start_));
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
    const std::size_t wanted = characters * form_.width;
    if (view_.size() - index_ < wanted) {
        start_ = At();
        index_ = 0;
        view_ = file_.From(start_, wanted);
        CountDocuments();
        const std::int64_t left = std::max<std::int64_t>(std::min(limit_, stop_) - start_, 0);
        if (static_cast<std::int64_t>(view_.size()) > left) {
            view_ = view_.first(static_cast<std::size_t>(left));
        }
    }
    return view_.size() - index_ >= form_.width;
}

void MarkupReader::CountDocuments() {
    const std::int64_t end = start_ + static_cast<std::int64_t>(view_.size()) - std::int64_t{MinXmlSector};
    for (std::int64_t at = SectorEnd(std::max(start_, documentsSoughtTo_ + 1)); at <= end && stop_ == NoLimit;
         at = SectorEnd(at + 1)) {
        documentsSoughtTo_ = at;
        documents_ += BeginsXml(view_.subspan(static_cast<std::size_t>(at - start_))) ? 1 : 0;
        stop_ = documents_ > mostDocuments_ ? at : NoLimit;
    }
}

bool MarkupReader::IsAt(std::u16string_view word, bool folded) {
    const char16_t first = Peek();
    if ((folded ? FoldLetter(first) : first) != word.front()) {
        return false;
    }
    if (!Fill(word.size()) || view_.size() - index_ < word.size() * form_.width) {
        return false;
    }
    for (std::size_t i = 0; i < word.size(); ++i) {
        const char16_t c = form_.CharAt(view_, index_ + i * form_.width);
        if ((folded ? FoldLetter(c) : c) != word[i]) {
            return false;
        }
    }
    return true;
}

bool MarkupReader::IsAtName(std::u16string_view tag, bool folded) {
    const std::int64_t at = At();
    const bool stands = Take(tag, folded) && IsNameEnd(Peek());
    GoTo(at);
    return stands;
}

bool MarkupReader::Take(std::u16string_view word, bool folded) {
    if (!IsAt(word, folded)) {
        return false;
    }
    index_ += word.size() * form_.width;
    return true;
}

bool MarkupReader::Seek(char16_t c) {
    // Stops at control characters too. No short-circuiting, so that the compiler tests many bytes at once.
    const auto sought = static_cast<std::uint8_t>(c);
    const auto isPassed = [sought](const std::uint8_t* place) {
        return static_cast<std::uint8_t>(static_cast<unsigned>(*place >= 0x20) &
                                         static_cast<unsigned>(*place != sought));
    };
    constexpr std::size_t nearBytes = 16;
    while (Peek() != c && Peek() != End) {
        ++index_;
        if (form_.width > 1) {
            index_ += form_.width - 1;
            continue;
        }
        // The character is often near, and the search through the rest takes a while to begin.
        const std::size_t nearEnd = std::min(index_ + nearBytes, view_.size());
        while (index_ < nearEnd && isPassed(view_.data() + index_) != 0) {
            ++index_;
        }
        if (index_ < nearEnd) {
            continue;
        }
        index_ = FindPlace(view_.data(), index_, view_.size(), isPassed, [](std::size_t /*place*/) {
                     return true;
                 }).value_or(view_.size());
    }
    return Peek() != End;
}

void MarkupReader::SkipWhite() {
    while (IsWhite(Peek())) {
        Next();
    }
}

bool MarkupReader::TakePast(std::u16string_view mark) {
    while (SkipTo(mark.front())) {
        if (Take(mark)) {
            return true;
        }
        Next();
    }
    return false;
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
    while (form_.width == 1 && at < view_.size() && IsPlain[view_[at]]) {
        ++at;
    }
    return at - from;
}

std::size_t MarkupReader::PassValues() {
    index_ += CountPlain(index_);
    while (form_.width == 1 && index_ < view_.size() && (view_[index_] == '"' || view_[index_] == '\'')) {
        const std::uint8_t quote = view_[index_];
        std::size_t end = index_ + 1;
        while (end < view_.size() && view_[end] != quote && IsTextChar(view_[end])) {
            ++end;
        }
        if (end == view_.size() || view_[end] != quote) {
            break;
        }
        index_ = end + 1;
        index_ += CountPlain(index_);
    }
    return index_;
}

std::optional<ByteSpan> MarkupReader::TakePlainTag() {
    const std::size_t from = index_ + 1;
    if (form_.width != 1 || from >= view_.size() || view_[index_] != '<' || view_[from] == '!' || view_[from] == '?') {
        return std::nullopt;
    }
    const std::size_t length = CountPlain(from);
    if (from + length == view_.size() || view_[from + length] != '>') {
        return std::nullopt;
    }
    index_ = from + length + 1;
    return view_.subspan(from, length);
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
    if (Take(u"<!--")) {
        return TakePast(u"-->");
    }
    if (Take(u"<?")) {
        return TakePast(u"?>");
    }
    return std::nullopt;
}

bool MarkupReader::TakeDeclaration() {
    for (std::int64_t open = 0;;) {
        while (form_.width == 1 && index_ < view_.size() && IsPlain[view_[index_]] && view_[index_] != '<') {
            ++index_;
        }
        if (Peek() == '<') {
            if (const std::optional<bool> remark = TakeRemark()) {
                if (!*remark) {
                    return false;
                }
                continue;
            }
        }
        const char16_t c = Next();
        const bool isQuote = c == '"' || c == '\'';
        if (c == End || (isQuote && !TakePast(std::u16string_view(&c, 1)))) {
            return false;
        }
        open += static_cast<int>(c == '<') - static_cast<int>(c == '>');
        if (c == '>' && open <= 0) {
            return true;
        }
    }
}

std::optional<std::int64_t> MarkupReader::FileStartHere() {
    const std::int64_t at = At();
    const auto mark = static_cast<std::int64_t>(form_.width == 1 ? Utf8Mark.size() : BigMark.size());
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
        text.SkipWhite();
        if (const std::optional<bool> remark = text.TakeRemark()) {
            if (!*remark) {
                return std::nullopt;
            }
        } else if (!hasType && text.IsAt(u"<!doctype", true)) {
            const std::int64_t declaration = text.At();
            text.Take(u"<!doctype", true);
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
