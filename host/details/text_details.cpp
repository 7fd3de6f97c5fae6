#include "host/details/text_details.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <pugixml.hpp>
#include <sstream>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "frame/bytes/Bytes.h"
#include "host/details/times.h"

namespace salvor {

namespace {

std::string HeadOf(MediumSource& document, std::int64_t from) {
    constexpr std::int64_t mostBytes = std::int64_t{64} << 10;
    std::string head(static_cast<std::size_t>(std::clamp<std::int64_t>(document.Size() - from, 0, mostBytes)), '\0');
    if (head.empty()) {
        return {};
    }
    head.resize(document.ReadAt(from, std::bit_cast<std::uint8_t*>(head.data()), head.size()));
    return head;
}

std::string WithSingleBlanks(const std::string& text) {
    std::istringstream words(text);
    std::string joined;
    for (std::string word; words >> word;) {
        joined += (joined.empty() ? "" : " ") + word;
    }
    return joined;
}

// The words between the tags, with entities as characters.
std::string PlainText(const std::string& markup) {
    pugi::xml_document document;
    const bool isSound = document.load_string(("<t>" + markup + "</t>").c_str());
    return WithSingleBlanks(isSound ? document.first_child().child_value() : markup);
}

FileDetails ReadWebPage(const std::string& head) {
    std::string lower = head;
    std::ranges::transform(lower, lower.begin(),
                           [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c; });
    const std::size_t begin = lower.find('>', lower.find("<title"));
    const std::size_t end = lower.find("</title", begin);
    FileDetails details;
    if (end != std::string::npos) {
        details.title = PlainText(head.substr(begin + 1, end - begin - 1));
    }
    return details;
}

std::int64_t WholePixels(double pixels) {
    constexpr double most = 1e9;
    return pixels > 0 && pixels < most ? std::max<std::int64_t>(std::llround(pixels), 1) : 0;
}

// A length of CSS, in which an inch has 96 pixels; 0 for a share of the space around.
double PixelsIn(std::string_view length) {
    constexpr double inch = 96;
    constexpr std::array<std::pair<std::string_view, double>, 7> units{{{"", 1},
                                                                        {"px", 1},
                                                                        {"in", inch},
                                                                        {"pt", inch / 72},
                                                                        {"pc", inch / 6},
                                                                        {"mm", inch / 25.4},
                                                                        {"cm", inch / 2.54}}};
    double number = 0;
    const auto [end, error] = std::from_chars(length.data(), length.data() + length.size(), number);
    const std::string_view unit(end, length.data() + length.size());
    const auto* const found = std::ranges::find(units, unit, &std::pair<std::string_view, double>::first);
    return error == std::errc() && found != units.end() ? number * found->second : 0;
}

// Source: W3C, Scalable Vector Graphics 1.1, 7.2 and 7.7.
FileDetails ReadDrawing(const pugi::xml_node& root) {
    FileDetails details;
    details.title = WithSingleBlanks(root.child("title").child_value());
    details.width = WholePixels(PixelsIn(root.attribute("width").value()));
    details.height = WholePixels(PixelsIn(root.attribute("height").value()));
    if (details.width == 0 || details.height == 0) {
        std::string box = root.attribute("viewBox").value();
        std::ranges::replace(box, ',', ' ');
        std::istringstream numbers(box);
        std::array<double, 4> sides{};
        for (double& side : sides) {
            numbers >> side;
        }
        details.width = WholePixels(sides[2]);
        details.height = WholePixels(sides[3]);
    }
    return details;
}

FileDetails ReadMarkup(const std::string& head) {
    pugi::xml_document document;
    // The rest of the document is missing, but its first element is there.
    document.load_buffer(head.data(), head.size());
    const pugi::xml_node root = document.document_element();
    return std::string_view(root.name()) == "svg" ? ReadDrawing(root) : ReadWebPage(head);
}

// The text of a comment's line; "(A \(b\))" is one in PostScript's own form.
std::string CommentText(std::string_view line) {
    line.remove_prefix(std::min(line.size(), line.find_first_not_of(" \t")));
    if (!line.starts_with('(')) {
        return WithSingleBlanks(std::string(line));
    }
    std::string text;
    for (std::size_t i = 1; i < line.size() && line[i] != ')'; ++i) {
        const bool isEscape = line[i] == '\\' && i + 1 < line.size();
        text += line[isEscape ? ++i : i];
    }
    return text == "atend" ? "" : text;
}

// Source: Adobe, PostScript Language Document Structuring Conventions 3.0.
FileDetails ReadPostScript(const std::string& head) {
    FileDetails details;
    for (std::size_t at = 0; at < head.size() && head[at] == '%' && head.compare(at, 13, "%%EndComments") != 0;) {
        const std::size_t end = std::min(head.find_first_of("\r\n", at), head.size());
        const std::string_view line(head.data() + at, end - at);
        constexpr std::string_view title = "%%Title:";
        constexpr std::string_view date = "%%CreationDate:";
        if (line.starts_with(title)) {
            details.title = CommentText(line.substr(title.size()));
        } else if (line.starts_with(date)) {
            details.taken = TimeIn(CommentText(line.substr(date.size())));
        }
        at = std::min(head.find_first_not_of("\r\n", end), head.size());
    }
    return details;
}

// Where the text begins in a file for Windows, which may hold a preview in front of it.
std::int64_t PostScriptStart(MediumSource& document) {
    std::array<std::uint8_t, 8> head{};
    const bool isForWindows = document.Size() >= std::ssize(head) &&
                              document.ReadAt(0, head.data(), head.size()) == head.size() &&
                              StartsWith(ByteSpan(head), PatternOf("\xC5\xD0\xD3\xC6"));
    return isForWindows ? LoadLittle<std::uint32_t>(head, 4) : 0;
}

}  // namespace

FileDetails ReadTextDetails(MediumSource& document) {
    const std::string head = HeadOf(document, PostScriptStart(document));
    return head.starts_with("%!PS") ? ReadPostScript(head) : ReadMarkup(head);
}

}  // namespace salvor
