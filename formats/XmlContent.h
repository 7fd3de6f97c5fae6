#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "formats/MarkupReader.h"

/// How far an XML document reaches. Source: XML 1.0.
struct XmlExtent {
    /// After the root's end tag and the comments and processing instructions that follow it; where the document
    /// breaks, after the last markup that was whole. In bytes from the file's start.
    std::int64_t end = 0;
    /// The root's end was found.
    bool isClosed = false;
    /// As many elements were closed as opened.
    bool isBalanced = false;
    /// At least one element inside the root is complete.
    bool hasChild = false;
};

/// Follows a document's content, item by item: a tag, a comment, or anything else in angle brackets. Only elements with
/// the root's name are counted: the end tag that makes their count 0 is the root's own. Nothing else need be
/// well-formed.
class XmlContentWalk {
public:
    /// What a row of items changes.
    struct Change {
        /// How the number of open elements with the root's name changes, and the lowest that it gets on the way.
        std::int64_t depth = 0;
        std::int64_t lowest = 0;
        /// How the number of all open elements changes.
        std::int64_t allDepth = 0;
        bool hasChild = false;

        void Append(const Change& behind);
    };

    /// The reader stands after the root's name; both are borrowed.
    XmlContentWalk(MarkupReader& text, std::u16string_view root) : text_(text), root_(root) {}

    /// Takes the rest of the root's own start tag.
    void TakeRoot();
    /// Takes the items that begin before `to`, adds to `sum` what the complete ones change, and gives the end of the
    /// last of these.
    std::int64_t TakeItems(std::int64_t to, Change& sum);
    /// Moves past items whose change is known; false if the root ends among them, or they cannot all be read.
    bool Pass(std::int64_t to, const Change& change);
    /// Takes what follows the root and says how far the document reaches.
    XmlExtent Finish();

private:
    // The root has ended, or the document breaks here.
    bool IsOver() const { return !isRight_ || now_.depth <= 0; }
    bool IsNextFile();
    bool IsAside();
    void CountPlainTag(ByteSpan tag, Change& change) const;
    bool TakeAside();
    bool TakeTag(Change& change);
    bool TakeElement(bool isRoot, Change& change);
    void PassRemarks();

    MarkupReader& text_;
    std::u16string_view root_;
    bool isRight_ = true;
    Change now_;
    XmlExtent extent_;
};

/// Follows a document's content from after the root's name.
XmlExtent FollowXmlContent(MarkupReader& text, std::u16string_view root);
