#include <FileTypeCatalog.h>

#include <optional>
#include <string>
#include <string_view>

#include "formats/MarkupReader.h"
#include "formats/XmlContent.h"
#include "host/validators/text/markup.h"
#include "host/validators/text/text_kinds.h"
#include "host/validators/text/text_run.h"
#include "host/validators/validator.h"

namespace salvor {

namespace {

constexpr std::size_t LongestName = 256;
constexpr std::int64_t PrologBytes = 0x10000;
// How far the tag of a root without a declaration is read.
constexpr std::int64_t RootTagBytes = 0x2000;

// A document without a declaration is XML if it has a document type with the root's name, or a name space. Leaves the
// reader after the root's name, which is empty if there is no such document.
std::u16string TakeBareRoot(MarkupReader& text) {
    std::u16string typeName;
    text.EndAt(PrologBytes);
    text.SkipWhite();
    for (bool isProlog = true; isProlog; text.SkipWhite()) {
        if (text.IsAt(u"<!doctype", true)) {
            const std::int64_t declaration = text.At();
            text.Take(u"<!doctype", true);
            text.SkipWhite();
            typeName = text.TakeName(LongestName);
            text.GoTo(declaration);
            isProlog = text.TakeDeclaration();
        } else {
            isProlog = text.TakeRemark().value_or(false);
        }
    }
    text.Take(u"<");
    std::u16string root = text.TakeName(LongestName);
    const std::int64_t nameEnd = text.At();
    text.EndAt(nameEnd + RootTagBytes);
    bool isSure = root == typeName;
    if (!root.empty() && !isSure && text.TakeTag() != MarkupReader::Tag::Broken) {
        const std::int64_t tagEnd = text.At();
        text.GoTo(nameEnd);
        text.EndAt(tagEnd);
        isSure = text.TakePast(u"xmlns");
    }
    text.EndAt(MarkupReader::NoLimit);
    text.GoTo(nameEnd);
    return isSure ? root : std::u16string();
}

// An indented element is most likely part of a page, the start of which is elsewhere.
bool IsIndented(Place& file, std::int64_t at) {
    const ByteSpan before = at > 0 ? file.At(at - 1, 1) : ByteSpan();
    return !before.empty() && (before[0] == ' ' || before[0] == '\t');
}

std::u16string TakeRoot(Place& file, MarkupReader& text) {
    const std::int64_t start = text.At();
    text.SkipWhite();
    if (!IsAtXmlDeclaration(text)) {
        const bool isPart = IsIndented(file, text.At());
        text.GoTo(start);
        return isPart ? std::u16string() : TakeBareRoot(text);
    }
    const std::optional<XmlProlog> prolog = TakeXmlProlog(text);
    return prolog && !prolog->isHtml ? prolog->root : std::u16string();
}

bool IsNamed(std::u16string_view root, std::u16string_view name) {
    root.remove_prefix(root.rfind(u':') + 1);
    return root == name;
}

Finding Validate(Place& file) {
    MarkupReader text(file, MarkupReader::AnyDocuments);
    const std::u16string root = TakeRoot(file, text);
    text.EndAt(MarkupReader::NoLimit);
    if (root.empty() || IsNamed(root, u"html")) {
        return {};
    }
    const std::string extension = IsNamed(root, u"svg") ? "svg" : "";
    const XmlExtent content = FollowXmlContent(text, root);
    if (content.isClosed) {
        const std::int64_t size = EndOfDocument(file, text, content.end);
        return content.isBalanced
                   ? Finding{Verdict::Whole, size, FileTypeIndex::Xml, extension, "the root element is closed"}
                   : Finding{Verdict::Damaged, size, FileTypeIndex::Xml, extension, "tags without their counterparts"};
    }
    const TextForm form = text.Form();
    const auto from = static_cast<std::int64_t>(form.markBytes);
    const TextRun run = form.width == 1 ? FollowText(file, from) : FollowUtf16(file, from, form.isBigEndian);
    const bool isCut = run.behind == TextRun::Behind::MediumEnd || run.behind == TextRun::Behind::OtherFile;
    return {isCut ? Verdict::Truncated : Verdict::Damaged, run.end, FileTypeIndex::Xml, extension,
            "the root element is not closed"};
}

constexpr std::int32_t Types[] = {FileTypeIndex::Xml};

}  // namespace

bool IsXmlDocument(Place& file) {
    MarkupReader text(file, MarkupReader::AnyDocuments);
    const std::u16string root = TakeRoot(file, text);
    return !root.empty() && !IsNamed(root, u"html");
}

extern const Validator XmlValidator;
const Validator XmlValidator{.name = "xml",
                             .phase = Validator::Phase::Text,
                             .starts = {},
                             .begins = BeginsWithMarkup,
                             .validate = Validate,
                             .types = Types};

}  // namespace salvor
