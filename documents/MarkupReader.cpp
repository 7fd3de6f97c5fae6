#include "documents/MarkupReader.h"

#include <algorithm>

namespace {

constexpr auto Utf8Mark = PatternOf("\xEF\xBB\xBF");
constexpr auto LittleMark = PatternOf("\xFF\xFE");
constexpr auto BigMark = PatternOf("\xFE\xFF");

// In bytes: an XML declaration has its end in so many, and a root element begins within so many.
constexpr std::int64_t DeclarationLimit = 256;
constexpr std::int64_t PrologLimit = 0x10000;
constexpr std::size_t MaxName = 256;

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

MarkupReader::MarkupReader(FileWindow& file) : file_(file), form_(TextForm::Of(file.From(0, Utf8Mark.size()))) {
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
        const std::int64_t left = std::max<std::int64_t>(limit_ - start_, 0);
        if (static_cast<std::int64_t>(view_.size()) > left) {
            view_ = view_.first(static_cast<std::size_t>(left));
        }
    }
    return view_.size() - index_ >= form_.width;
}

bool MarkupReader::Stands(std::u16string_view word, bool folded) {
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

bool MarkupReader::StandsName(std::u16string_view tag, bool folded) {
    const std::int64_t at = At();
    const bool stands = Take(tag, folded) && IsNameEnd(Peek());
    GoTo(at);
    return stands;
}

bool MarkupReader::Take(std::u16string_view word, bool folded) {
    if (!Stands(word, folded)) {
        return false;
    }
    index_ += word.size() * form_.width;
    return true;
}

bool MarkupReader::SkipToTag() {
    char16_t c = Peek();
    while (c != '<' && c != End) {
        index_ += form_.width;
        c = Peek();
    }
    return c != End;
}

void MarkupReader::SkipWhite() {
    while (IsWhite(Peek())) {
        Next();
    }
}

bool MarkupReader::TakePast(std::u16string_view mark) {
    for (char16_t c = Peek(); c != End; c = Peek()) {
        if (c == mark.front() && Take(mark)) {
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

MarkupReader::Tag MarkupReader::TakeTag() {
    char16_t before = End;
    for (;;) {
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
        if (const std::optional<bool> remark = TakeRemark()) {
            if (!*remark) {
                return false;
            }
            continue;
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
    const bool hasMark = Stands(form_.width == 1 ? u"\u00EF\u00BB\u00BF" : u"\uFEFF");
    GoTo(at);
    return hasMark ? std::optional(at - mark) : std::nullopt;
}

bool MarkupReader::IsZeroUpTo(std::int64_t to) {
    const auto length = static_cast<std::size_t>(std::max<std::int64_t>(to - At(), 0));
    // The view may go with the piece that it shows.
    Forget();
    const ByteSpan bytes = file_.At(start_, length);
    return bytes.size() == length && std::ranges::all_of(bytes, [](std::uint8_t byte) { return byte == 0; });
}

std::int64_t EndOfWhite(MarkupReader& text, std::int64_t from) {
    text.GoTo(from);
    text.SkipWhite();
    return text.Peek() == MarkupReader::End ? text.At() : std::min(text.At(), SectorEnd(from));
}

bool StandsXmlDeclaration(MarkupReader& text) {
    const std::int64_t at = text.At();
    const bool stands = text.Take(u"<?xml") && IsWhite(text.Peek());
    text.GoTo(at);
    return stands;
}

std::optional<XmlProlog> TakeXmlProlog(MarkupReader& text) {
    const std::int64_t start = text.At();
    if (!StandsXmlDeclaration(text)) {
        return std::nullopt;
    }
    text.Take(u"<?xml");
    text.SkipWhite();
    if (!text.Take(u"version")) {
        return std::nullopt;
    }
    text.SkipWhite();
    const bool isAssigned = text.Take(u"=");
    text.SkipWhite();
    const char16_t quote = text.Next();
    text.EndAt(start + DeclarationLimit);
    if (!isAssigned || (quote != '"' && quote != '\'') || !text.TakePast(u"?>")) {
        return std::nullopt;
    }
    text.EndAt(start + PrologLimit);
    for (bool hasType = false;;) {
        text.SkipWhite();
        if (const std::optional<bool> remark = text.TakeRemark()) {
            if (!*remark) {
                return std::nullopt;
            }
        } else if (!hasType && text.Stands(u"<!doctype", true)) {
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
