#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "formats/MarkupReader.h"

/// How pages of HTML begin, and what scanners and the program both ask of their markup. Sources: WHATWG, HTML; XHTML
/// 1.0.

struct PageStart {
    /// It is a page even without an end tag.
    bool isSure;
    /// What the root's end tag begins with.
    std::u16string endTag = u"</html";
};

/// What stands in front of a page's first tag: white space and comments, or an XML document's prolog. Leaves the reader
/// behind it. Nothing if no page begins here: without a document type or a root it takes two tags of the usual ones.
std::optional<PageStart> TakePageStart(MarkupReader& text);

/// True in front of the HTML document type, with or without the blank that the name should follow.
bool IsAtHtmlDoctype(MarkupReader& text);

/// The name of a tag in lower case; empty if none begins here.
std::u16string TakeTagName(MarkupReader& text);

/// Behind the content of an element that holds no markup, and behind its end tag; `endTag` is in lower case. False at
/// the end of the text.
bool TakeRawText(MarkupReader& text, std::u16string_view endTag);
