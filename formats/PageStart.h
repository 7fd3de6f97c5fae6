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

/// Takes what precedes a page's first tag: white space and comments, or an XML document's prolog. Leaves the reader
/// after it. Nothing if no page begins here: without a document type or a root it takes two of the usual tags.
std::optional<PageStart> TakePageStart(MarkupReader& text);

/// True if the HTML document type begins here, with or without the blank before its name.
bool IsAtHtmlDoctype(MarkupReader& text);

/// The name of a tag in lower case; empty if none begins here.
std::u16string TakeTagName(MarkupReader& text);

/// Moves past the content of an element that holds no markup, and past its end tag; `endTag` is in lower case. False at
/// the end of the text.
bool TakeRawText(MarkupReader& text, std::u16string_view endTag);
