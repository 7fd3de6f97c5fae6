#include "formats/XmlContent.h"

#include <algorithm>

void XmlContentWalk::Change::Append(const Change& behind) {
    lowest = std::min(lowest, depth + behind.lowest);
    depth += behind.depth;
    allDepth += behind.allDepth;
    hasChild = hasChild || behind.hasChild;
}

void XmlContentWalk::TakeRoot() { isRight_ = TakeElement(/*isRoot=*/true, now_); }

std::int64_t XmlContentWalk::TakeItems(std::int64_t to, Change& sum) {
    Change items;
    Change broken;
    while (isRight_ && now_.depth + items.depth > 0 && text_.At() < to) {
        extent_.end = text_.At();
        if (!text_.SkipToTag()) {
            isRight_ = false;
        } else if (const std::optional<ByteSpan> tag = text_.TakePlainTag()) {
            CountPlainTag(*tag, items);
        } else if (!text_.TakeShortRemark() && !text_.TakePlainDeclaration()) {
            Change item;
            isRight_ = IsAside() ? TakeAside() : TakeTag(item);
            (isRight_ ? items : broken).Append(item);
        }
        items.lowest = std::min(items.lowest, items.depth);
    }
    sum.Append(items);
    now_.Append(items);
    now_.Append(broken);
    return isRight_ ? text_.At() : extent_.end;
}

bool XmlContentWalk::Pass(std::int64_t to, const Change& change) {
    if (IsOver() || now_.depth + change.lowest <= 0 || !text_.PassTo(to)) {
        return false;
    }
    now_.Append(change);
    return true;
}

XmlExtent XmlContentWalk::Finish() {
    extent_.hasChild = now_.hasChild;
    if (isRight_ && now_.depth <= 0) {
        extent_.isClosed = true;
        extent_.isBalanced = now_.allDepth == 0;
        extent_.end = text_.At();
        PassRemarks();
    }
    return extent_;
}

// A declaration cannot stand inside a document.
bool XmlContentWalk::IsNextFile() { return IsAtXmlDeclaration(text_) && text_.FileStartHere(); }

// Nothing that begins with these is an element.
bool XmlContentWalk::IsAside() { return text_.IsAt(u"<!") || text_.IsAt(u"<?"); }

// A fast path for nearly all tags, with the result of the general case.
void XmlContentWalk::CountPlainTag(ByteSpan tag, Change& change) const {
    const bool isEnd = !tag.empty() && tag.front() == '/';
    const bool isEmpty = !isEnd && !tag.empty() && tag.back() == '/';
    const ByteSpan name = tag.subspan(isEnd ? 1 : 0);
    const bool isRoot = name.size() >= root_.size() && std::ranges::equal(name.first(root_.size()), root_) &&
                        (name.size() == root_.size() || IsNameEnd(name[root_.size()]));
    const std::int64_t step = isEnd ? -1 : isEmpty ? 0 : 1;
    change.allDepth += step;
    change.depth += isRoot ? step : 0;
    change.hasChild = change.hasChild || isEnd || isEmpty;
}

bool XmlContentWalk::TakeAside() {
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

bool XmlContentWalk::TakeTag(Change& change) {
    text_.Next();
    const bool isEnd = text_.Take(u"/");
    const bool isRoot = text_.IsAtName(root_);
    if (!isEnd) {
        return TakeElement(isRoot, change);
    }
    change.depth -= isRoot ? 1 : 0;
    change.hasChild = true;
    --change.allDepth;
    return text_.TakePast(u">");
}

bool XmlContentWalk::TakeElement(bool isRoot, Change& change) {
    const MarkupReader::Tag tag = text_.TakeTag();
    change.depth += isRoot && tag == MarkupReader::Tag::Open ? 1 : 0;
    change.hasChild = change.hasChild || tag == MarkupReader::Tag::Empty;
    change.allDepth += tag == MarkupReader::Tag::Open ? 1 : 0;
    return tag != MarkupReader::Tag::Broken;
}

void XmlContentWalk::PassRemarks() {
    for (;;) {
        text_.SkipWhite();
        if (!text_.TakeShortRemark() && (IsAtXmlDeclaration(text_) || !text_.TakeRemark().value_or(false))) {
            return;
        }
        extent_.end = text_.At();
    }
}

XmlExtent FollowXmlContent(MarkupReader& text, std::u16string_view root) {
    XmlContentWalk walk(text, root);
    walk.TakeRoot();
    XmlContentWalk::Change sum;
    walk.TakeItems(MarkupReader::NoLimit, sum);
    return walk.Finish();
}
