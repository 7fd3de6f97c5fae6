#include "documents/KXMLFileType.h"

#include <string_view>

#include "documents/MarkupReader.h"

namespace {

// Follows a document's content. Only elements with the root's name are counted: the root's own end is that which makes
// their count 0, and nothing else need be well-formed.
class ContentWalk {
public:
    ContentWalk(MarkupReader& text, std::u16string_view root) : text_(text), root_(root) {}

    // The reader stands behind the root's name. Gives the document's length.
    std::optional<std::int64_t> Run() {
        if (!TakeElement(true)) {
            return std::nullopt;
        }
        while (depth_ > 0) {
            wholeEnd_ = text_.At();
            if (!text_.SkipToTag() || !TakeItem()) {
                return hasChild_ ? std::optional(wholeEnd_) : std::nullopt;
            }
        }
        return EndBehindRoot();
    }

private:
    // A declaration cannot stand inside a document.
    bool IsNextFile() { return StandsXmlDeclaration(text_) && text_.FileStartHere(); }

    // Nothing that begins with these is an element.
    bool IsAside() {
        const std::int64_t at = text_.At();
        text_.Next();
        const char16_t kind = text_.Peek();
        text_.GoTo(at);
        return kind == '!' || kind == '?';
    }

    bool TakeItem() { return IsAside() ? TakeAside() : TakeTag(); }

    bool TakeAside() {
        if (IsNextFile()) {
            return false;
        }
        if (text_.Take(u"<![CDATA[")) {
            return text_.TakePast(u"]]>");
        }
        if (const std::optional<bool> remark = text_.TakeRemark()) {
            return *remark;
        }
        return text_.TakeDeclaration();
    }

    bool TakeTag() {
        text_.Next();
        const bool isEnd = text_.Take(u"/");
        const bool isRoot = text_.StandsName(root_);
        if (!isEnd) {
            return TakeElement(isRoot);
        }
        depth_ -= isRoot ? 1 : 0;
        hasChild_ = true;
        return text_.TakePast(u">");
    }

    bool TakeElement(bool isRoot) {
        const MarkupReader::Tag tag = text_.TakeTag();
        depth_ += isRoot && tag == MarkupReader::Tag::Open ? 1 : 0;
        hasChild_ = hasChild_ || tag == MarkupReader::Tag::Empty;
        return tag != MarkupReader::Tag::Broken;
    }

    std::int64_t EndBehindRoot() {
        std::int64_t end = text_.At();
        for (;;) {
            text_.SkipWhite();
            if (StandsXmlDeclaration(text_) || !text_.TakeRemark().value_or(false)) {
                return EndOfWhite(text_, end);
            }
            end = text_.At();
        }
    }

    MarkupReader& text_;
    std::u16string_view root_;
    std::int64_t depth_ = 0;
    // What damage leaves of the document: its end, and whether an element inside the root was whole.
    std::int64_t wholeEnd_ = 0;
    bool hasChild_ = false;
};

}  // namespace

std::optional<std::int64_t> KXMLFileType::Walk(FileWindow& file) {
    MarkupReader text(file);
    const std::optional<XmlProlog> prolog = TakeXmlProlog(text);
    if (!prolog || prolog->isHtml) {
        return std::nullopt;
    }
    return ContentWalk(text, prolog->root).Run();
}
