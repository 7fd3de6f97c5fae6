#include "host/validators/pdf_end.h"

#include <algorithm>
#include <charconv>
#include <string>
#include <string_view>

#include "formats/MarkupReader.h"

namespace salvor {

namespace {

// The end of the comments that begin at `at`, behind the end mark's line. Printers' test pages have their settings
// there. At a sector start they would be another file.
std::int64_t EndOfComments(ByteWindow& file, std::int64_t at) {
    constexpr std::size_t longestLine = 1024;
    constexpr int mostLines = 64;
    const auto isText = [](std::uint8_t byte) {
        return byte == '\t' || (byte >= ' ' && byte < 0x7F);
    };
    for (int lines = 0; lines < mostLines && at % file.SectorSize() != 0; ++lines) {
        const ByteSpan shown = file.From(at, longestLine);
        const ByteSpan text = shown.first(std::min(shown.size(), longestLine));
        const auto end = std::ranges::find_if_not(text, isText);
        if (!StartsWith(text, PatternOf("%%")) || end == text.end() || (*end != '\r' && *end != '\n')) {
            break;
        }
        const ByteSpan rest(end, text.end());
        at += end - text.begin() + (StartsWith(rest, PatternOf("\r\n")) ? 2 : 1);
    }
    return at;
}

}  // namespace

std::int64_t EndOfPdf(ByteWindow& file, std::int64_t size) {
    constexpr std::int64_t mostWhite = 4096;
    const std::int64_t from = std::max<std::int64_t>(size - mostWhite, 0);
    if (const std::int64_t end = EndOfComments(file, size); end > size) {
        return end;
    }
    // Zeros, which fill the rest of the file's sector; a single one may be anything.
    const auto filled = static_cast<std::size_t>(
        std::min(file.SectorSize() - size % file.SectorSize(), static_cast<std::int64_t>(ByteWindow::PieceBytes)));
    const ByteSpan next = file.From(size, filled);
    if (std::ranges::all_of(next.first(std::min(next.size(), filled)), [](std::uint8_t byte) { return byte == 0; })) {
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

bool LeadsToCrossReference(ByteWindow& file, std::int64_t size) {
    constexpr std::int64_t mostTail = 4096;
    constexpr std::string_view keyword = "startxref";
    const auto textAt = [&file](std::int64_t from, std::int64_t to) {
        const ByteSpan bytes = file.At(from, static_cast<std::size_t>(to - from));
        return std::string(bytes.begin(), bytes.end());
    };
    const std::string tail = textAt(std::max<std::int64_t>(size - mostTail, 0), size);
    const std::size_t at = tail.rfind(keyword);
    const std::size_t digits = at == std::string::npos ? at : tail.find_first_not_of(" \t\r\n", at + keyword.size());
    std::int64_t offset = 0;
    if (digits == std::string::npos ||
        std::from_chars(tail.data() + digits, tail.data() + tail.size(), offset).ec != std::errc()) {
        return true;
    }
    if (offset < 0 || offset >= size) {
        return false;
    }
    // The number of a stream's object has at most ten digits, that of its generation five.
    constexpr std::int64_t mostBefore = 128;
    constexpr std::int64_t mostBehind = 32;
    const std::string there =
        textAt(std::max<std::int64_t>(offset - mostBefore, 0), std::min(offset + mostBehind, size));
    return there.find("xref") != std::string::npos || there.find(" obj") != std::string::npos;
}

bool IsSavedAsDrawing(ByteWindow& file, std::int64_t size) {
    static constexpr BytePattern key = BytePatternOf<"/AIPrivateData1">();
    return file.Find(key, 0, size).has_value();
}

}  // namespace salvor
