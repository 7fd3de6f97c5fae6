#include "documents/KXMLFileType.h"

#include "formats/MarkupReader.h"
#include "formats/XmlContent.h"

std::optional<std::int64_t> KXMLFileType::Walk(FileWindow& file) {
    MarkupReader text(file);
    const std::optional<XmlProlog> prolog = TakeXmlProlog(text);
    if (!prolog || prolog->isHtml) {
        return std::nullopt;
    }
    const XmlExtent content = FollowXmlContent(text, prolog->root);
    if (content.isClosed) {
        return EndOfWhite(text, content.end);
    }
    return content.hasChild ? std::optional(content.end) : std::nullopt;
}
