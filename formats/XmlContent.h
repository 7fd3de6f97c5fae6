#pragma once

#include <cstdint>
#include <string_view>

#include "formats/MarkupReader.h"

/// How far an XML document reaches. Source: XML 1.0.
struct XmlExtent {
    /// Behind the root's end tag and the comments and processing instructions that follow it; where the document
    /// breaks, behind the last markup that was whole. In bytes from the file's start.
    std::int64_t end = 0;
    /// The root's end was found.
    bool isClosed = false;
    /// As many elements were closed as were opened.
    bool isBalanced = false;
    /// An element inside the root was whole.
    bool hasChild = false;
};

/// Follows a document's content from behind the root's name.
XmlExtent FollowXmlContent(MarkupReader& text, std::u16string_view root);
