#include "formats/PageStart.h"

#include <algorithm>
#include <bitset>
#include <iterator>

namespace {

using Word = std::u16string_view;

// Names of tags, longer than any that decides something.
constexpr std::size_t MaxName = 32;
// In bytes from the start: where the comments before the first tag must end, and how far to look for tags that
// confirm a first tag that is not HTML's own.
constexpr std::int64_t CommentLimit = 2048;
constexpr std::int64_t ConfirmLimit = 512;
}  // namespace

std::u16string TakeTagName(MarkupReader& text) {
    std::u16string name = text.TakeName(MaxName);
    std::ranges::transform(name, name.begin(), FoldLetter);
    return name;
}

bool IsAtHtmlDoctype(MarkupReader& text) {
    const std::int64_t at = text.At();
    bool stands = text.Take(u"<!doctype", LetterCase::Any);
    if (stands) {
        text.SkipWhite();
        stands = text.IsAtName(u"html", LetterCase::Any);
    }
    text.GoTo(at);
    return stands;
}

namespace {

// True if two different usual tags begin here or later, near the start.
bool HasUsualTags(MarkupReader& text) {
    constexpr Word usual[] = {u"html", u"head",  u"title", u"meta", u"link", u"style", u"script",
                              u"body", u"table", u"div",   u"p",    u"br",   u"a",     u"img"};
    std::bitset<std::size(usual)> seen;
    while (seen.count() < 2 && text.SkipToTag()) {
        text.Next();
        const char16_t first = FoldLetter(text.Peek());
        // Most tags were seen before, or begin like none.
        bool isNew = false;
        for (std::size_t i = 0; i < std::size(usual); ++i) {
            isNew = isNew || (usual[i].front() == first && !seen.test(i));
        }
        if (!isNew) {
            continue;
        }
        const auto* const tag = std::ranges::find(usual, Word(TakeTagName(text)));
        if (tag != std::end(usual) && IsNameEnd(text.Peek())) {
            seen.set(static_cast<std::size_t>(tag - usual));
        }
    }
    return seen.count() == 2;
}

}  // namespace

std::optional<PageStart> TakePageStart(MarkupReader& text) {
    text.SkipWhite();
    if (IsAtXmlDeclaration(text)) {
        const std::optional<XmlProlog> prolog = TakeXmlProlog(text);
        if (!prolog || !prolog->isHtml) {
            return std::nullopt;
        }
        PageStart start{.isSure = true};
        if (!prolog->root.empty()) {
            start.endTag = u"</" + prolog->root;
            std::ranges::transform(start.endTag, start.endTag.begin(), FoldLetter);
        }
        return start;
    }
    constexpr Word savedFrom = u"<!-- saved from url=";
    const bool isSaved = text.IsAt(savedFrom, LetterCase::Any);
    text.EndAt(CommentLimit);
    while (text.IsAt(u"<!--")) {
        if (!text.TakeRemark().value_or(false)) {
            return std::nullopt;
        }
        text.SkipWhite();
    }
    text.EndAt(MarkupReader::NoLimit);
    if (IsAtHtmlDoctype(text) || text.IsAtName(u"<html", LetterCase::Any)) {
        return PageStart{.isSure = true};
    }
    constexpr Word first[] = {u"<head", u"<title", u"<body", u"<meta", u"<script"};
    const bool isUsual = std::ranges::any_of(first, [&](Word tag) { return text.IsAtName(tag, LetterCase::Any); });
    if (!isUsual && !isSaved) {
        return std::nullopt;
    }
    const std::int64_t at = text.At();
    if (isUsual) {
        text.Next();
    }
    text.EndAt(ConfirmLimit);
    const bool isConfirmed = HasUsualTags(text);
    text.EndAt(MarkupReader::NoLimit);
    text.GoTo(at);
    return isConfirmed ? std::optional(PageStart{.isSure = false}) : std::nullopt;
}

bool TakeRawText(MarkupReader& text, std::u16string_view endTag) {
    while (text.SkipToTag()) {
        if (text.IsAtName(endTag, LetterCase::Any)) {
            return text.TakePast(u">");
        }
        text.Next();
    }
    return false;
}
