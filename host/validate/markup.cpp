#include "host/validate/markup.h"

#include <algorithm>

#include "host/validate/text_bytes.h"
#include "host/validate/text_run.h"

namespace salvor {

namespace {

// The first line end is "\r\n", as all of a text mostly are.
bool HasReturns(Place& file, const TextForm& form) {
    constexpr std::size_t looked = 4096;
    const ByteSpan head = file.From(0, looked);
    for (std::size_t at = form.markBytes; at + form.width <= head.size(); at += form.width) {
        if (form.CharAt(head, at) == '\n') {
            return at >= form.width && form.CharAt(head, at - form.width) == '\r';
        }
    }
    return false;
}

}  // namespace

bool BeginsWithMarkup(ByteSpan head) {
    const TextForm form = TextForm::Of(head);
    std::size_t at = form.markBytes;
    while (at + form.width <= head.size() && IsWhite(form.CharAt(head, at))) {
        at += form.width;
    }
    if (at + 2 * form.width > head.size() || form.CharAt(head, at) != '<') {
        return false;
    }
    const char16_t next = form.CharAt(head, at + form.width);
    return next == '!' || next == '?' || next == '_' || next >= 0x80 ||
           (next < 0x80 && IsLetter(static_cast<std::uint8_t>(next)));
}

std::int64_t EndOfDocument(Place& file, MarkupReader& text, std::int64_t end) {
    constexpr std::int64_t page = 0x1000;
    text.GoTo(end);
    text.SkipWhite();
    const std::int64_t whiteEnd = text.At();
    const bool isOver = text.Peek() == MarkupReader::End;
    if (isOver && IsZeroFilled(file, whiteEnd)) {
        return whiteEnd;
    }
    const bool hasReturns = HasReturns(file, text.Form());
    text.Forget();
    const std::int64_t pageEnd = (end / page + 1) * page;
    while (!isOver && text.At() < pageEnd && text.Next() != MarkupReader::End) {
    }
    if (!isOver && text.At() < pageEnd && IsZeroFilled(file, text.At())) {
        return text.At();
    }
    text.Forget();
    text.GoTo(end);
    std::int64_t lineEnd = end;
    while (text.Take(u"\r\n") || (!hasReturns && text.Take(u"\n"))) {
        lineEnd = text.At();
    }
    return lineEnd;
}

}  // namespace salvor
