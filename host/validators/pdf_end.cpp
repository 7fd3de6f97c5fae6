#include "host/validators/pdf_end.h"

#include <algorithm>

#include "formats/MarkupReader.h"

namespace salvor {

std::int64_t EndOfPdf(ByteWindow& file, std::int64_t size) {
    constexpr std::int64_t mostWhite = 4096;
    const std::int64_t from = std::max<std::int64_t>(size - mostWhite, 0);
    const ByteSpan next = file.From(size);
    if (next.empty() || next[0] == 0) {
        return size;
    }
    const ByteSpan tail = file.At(from, static_cast<std::size_t>(size - from));
    const auto text = std::find_if_not(tail.rbegin(), tail.rend(), IsWhite);
    ByteSpan white(text.base(), tail.end());
    const std::size_t endBytes = StartsWith(white, PatternOf("\r\n")) ? 2 : 1;
    const ByteSpan lineEnd = white.first(std::min(endBytes, white.size()));
    while (!lineEnd.empty() && (lineEnd[0] == '\r' || lineEnd[0] == '\n') && white.size() >= endBytes &&
           std::ranges::equal(white.first(endBytes), lineEnd)) {
        white = white.subspan(endBytes);
    }
    return size - std::ssize(white);
}

}  // namespace salvor
