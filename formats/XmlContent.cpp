#include "formats/XmlContent.h"

namespace {

// Follows a document's content. Only elements with the root's name are counted: the root's own end is that which makes
// their count 0, and nothing else need be well-formed.
class ContentWalk {
public:
    ContentWalk(MarkupReader& text, std::u16string_view root) : text_(text), root_(root) {}

    XmlExtent Run() {
        bool isRight = TakeElement(true);
        while (isRight && depth_ > 0) {
            extent_.end = text_.At();
            isRight = text_.SkipToTag() && TakeItem();
        }
        if (isRight) {
            extent_.isClosed = true;
            extent_.isBalanced = allDepth_ == 0;
            extent_.end = text_.At();
            PassRemarks();
        }
        return extent_;
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
        extent_.hasChild = true;
        --allDepth_;
        return text_.TakePast(u">");
    }

    bool TakeElement(bool isRoot) {
        const MarkupReader::Tag tag = text_.TakeTag();
        depth_ += isRoot && tag == MarkupReader::Tag::Open ? 1 : 0;
        extent_.hasChild = extent_.hasChild || tag == MarkupReader::Tag::Empty;
        allDepth_ += tag == MarkupReader::Tag::Open ? 1 : 0;
        return tag != MarkupReader::Tag::Broken;
    }

    void PassRemarks() {
        for (;;) {
            text_.SkipWhite();
            if (StandsXmlDeclaration(text_) || !text_.TakeRemark().value_or(false)) {
                return;
            }
            extent_.end = text_.At();
        }
    }

    MarkupReader& text_;
    std::u16string_view root_;
    std::int64_t depth_ = 0;
    std::int64_t allDepth_ = 0;
    XmlExtent extent_;
};

}  // namespace

XmlExtent FollowXmlContent(MarkupReader& text, std::u16string_view root) { return ContentWalk(text, root).Run(); }
