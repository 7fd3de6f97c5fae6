#include <FileTypeCatalog.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "formats/MarkupReader.h"
#include "formats/XmlContent.h"
#include "host/validators/text/markup.h"
#include "host/validators/text/text_kinds.h"
#include "host/validators/validator.h"

namespace salvor {

namespace {

constexpr std::size_t LongestName = 256;
constexpr std::int64_t PrologBytes = 0x10000;
// How far the tag of a root without a declaration is read.
constexpr std::int64_t RootTagBytes = 0x2000;

struct Root {
    std::u16string name;
    // The document is XML even if it breaks.
    bool isSure = true;
};

// True if the tag that begins here has attributes as in XML only, with values in quotes.
bool TakesXmlAttributes(MarkupReader& text) {
    for (;;) {
        text.SkipWhite();
        if (text.Take(u">")) {
            return true;
        }
        if (text.TakeName(LongestName).empty()) {
            return false;
        }
        text.SkipWhite();
        const bool hasValue = text.Take(u"=");
        text.SkipWhite();
        const char16_t quote = hasValue ? text.Next() : MarkupReader::End;
        if ((quote != '"' && quote != '\'') || !text.TakePast(std::u16string_view(&quote, 1))) {
            return false;
        }
    }
}

// The root of a document without a declaration. It is sure to be XML if it has a document type with the root's name, or
// a name space. Leaves the reader after the root's name, which is empty if there is no such document.
Root TakeBareRoot(MarkupReader& text) {
    std::u16string typeName;
    text.EndAt(PrologBytes);
    text.SkipWhite();
    for (bool isProlog = true; isProlog; text.SkipWhite()) {
        if (text.IsAt(u"<!doctype", LetterCase::Any)) {
            const std::int64_t declaration = text.At();
            text.Take(u"<!doctype", LetterCase::Any);
            text.SkipWhite();
            typeName = text.TakeName(LongestName);
            text.GoTo(declaration);
            isProlog = text.TakeDeclaration();
        } else {
            isProlog = text.TakeRemark().value_or(false);
        }
    }
    text.Take(u"<");
    Root root{text.TakeName(LongestName)};
    const std::int64_t nameEnd = text.At();
    text.EndAt(nameEnd + RootTagBytes);
    bool hasXmlTag = root.name == typeName;
    if (!root.name.empty() && !hasXmlTag && text.TakeTag() != MarkupReader::Tag::Broken) {
        const std::int64_t tagEnd = text.At();
        text.GoTo(nameEnd);
        text.EndAt(tagEnd);
        root.isSure = text.TakePast(u"xmlns");
        text.GoTo(nameEnd);
        hasXmlTag = root.isSure || TakesXmlAttributes(text);
    }
    text.EndAt(MarkupReader::NoLimit);
    text.GoTo(nameEnd);
    return hasXmlTag ? root : Root();
}

// An indented element is most likely part of a page, the start of which is elsewhere.
bool IsIndented(Place& file, std::int64_t at) {
    const ByteSpan before = at > 0 ? file.At(at - 1, 1) : ByteSpan();
    return !before.empty() && (before[0] == ' ' || before[0] == '\t');
}

Root TakeRoot(Place& file, MarkupReader& text) {
    const std::int64_t start = text.At();
    text.SkipWhite();
    if (!IsAtXmlDeclaration(text)) {
        const bool isPart = IsIndented(file, text.At());
        text.GoTo(start);
        return isPart ? Root() : TakeBareRoot(text);
    }
    const std::optional<XmlProlog> prolog = TakeXmlProlog(text);
    return prolog && !prolog->isHtml ? Root{prolog->root} : Root();
}

bool IsNamed(std::u16string_view root, std::u16string_view name) {
    root.remove_prefix(root.rfind(u':') + 1);
    return root == name;
}

// Formats whose files all have an extension of their own; empty for others.
const char* ExtensionFor(std::u16string_view root) {
    constexpr std::pair<std::u16string_view, const char*> formats[] = {
        {u"svg", "svg"}, {u"gpx", "gpx"}, {u"kml", "kml"}, {u"FictionBook", "fb2"}, {u"COLLADA", "dae"}};
    const auto* const found =
        std::ranges::find_if(formats, [root](const auto& format) { return IsNamed(root, format.first); });
    return found != std::end(formats) ? found->second : "";
}

// Elements of pages that are parts of pages where they stand alone, and often stand in other texts.
bool IsOfPage(std::u16string_view root) {
    constexpr std::u16string_view names[] = {
        u"a",    u"b",    u"blockquote", u"body",     u"center",  u"code", u"details", u"div",  u"em",     u"font",
        u"form", u"h1",   u"h2",         u"h3",       u"h4",      u"h5",   u"h6",      u"head", u"i",      u"img",
        u"li",   u"meta", u"ol",         u"p",        u"picture", u"pre",  u"script",  u"span", u"strong", u"style",
        u"sub",  u"sup",  u"table",      u"template", u"title",   u"tr",   u"tt",      u"ul"};
    return std::ranges::find(names, root) != std::end(names);
}

// A document whose root does not show that it is XML must be closed, and neither further elements nor, as far as can be
// seen, text of its own may follow.
Finding OfBareRoot(Place& file, MarkupReader& text, const XmlExtent& content, Finding whole) {
    text.Forget();
    text.GoTo(content.end);
    text.SkipWhite();
    const bool isAlone = !text.IsAt(u"<") && (!IsTextAt(file, whole.size) || !file.IsSlackClean());
    return content.isBalanced && isAlone ? whole : Finding();
}

Finding Validate(Place& file) {
    MarkupReader text(file, MarkupReader::AnyDocuments);
    const Root root = TakeRoot(file, text);
    text.EndAt(MarkupReader::NoLimit);
    if (root.name.empty() || IsNamed(root.name, u"html") || (!root.isSure && IsOfPage(root.name))) {
        return {};
    }
    const char* const extension = ExtensionFor(root.name);
    const XmlExtent content = FollowXmlContent(text, root.name);
    if (content.isClosed) {
        const std::int64_t size = EndOfData(file, text, content.end);
        const Finding whole{Verdict::Whole, size, FileTypeIndex::Xml, extension, "the root element is closed"};
        if (!root.isSure) {
            return OfBareRoot(file, text, content, whole);
        }
        return content.isBalanced
                   ? whole
                   : Finding{Verdict::Damaged, size, FileTypeIndex::Xml, extension, "tags without their counterparts"};
    }
    if (!root.isSure) {
        return {};
    }
    return UnclosedText(file, FileTypeIndex::Xml, extension, "the root element is not closed");
}

constexpr std::int32_t Types[] = {FileTypeIndex::Xml};

}  // namespace

bool IsXmlDocument(Place& file) {
    MarkupReader text(file, MarkupReader::AnyDocuments);
    const Root root = TakeRoot(file, text);
    return !root.name.empty() && !IsNamed(root.name, u"html") &&
           (root.isSure || Validate(file).verdict != Verdict::NoFile);
}

extern const Validator XmlValidator;
const Validator XmlValidator{.name = "xml",
                             .phase = Validator::Phase::Text,
                             .starts = {},
                             .begins = BeginsWithMarkup,
                             .validate = Validate,
                             .types = Types};

}  // namespace salvor
