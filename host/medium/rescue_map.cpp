#include "host/medium/rescue_map.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <optional>
#include <stdexcept>
#include <system_error>

#include "host/platform/file_place.h"
#include "host/say/failure.h"

namespace salvor {

namespace {

// Takes the next word off the front of a line; empty at the end.
std::string_view TakeWord(std::string_view& line) {
    constexpr std::string_view blanks = " \t\r";
    line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
    const std::string_view word = line.substr(0, line.find_first_of(blanks));
    line.remove_prefix(word.size());
    return word;
}

std::string_view TakeLine(std::string_view& text) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    return line;
}

// Decimal, hexadecimal after 0x, octal after 0.
std::optional<std::int64_t> NumberOf(std::string_view word) {
    int base = 10;
    if (word.starts_with("0x") || word.starts_with("0X")) {
        base = 16;
        word.remove_prefix(2);
    } else if (word.size() > 1 && word.starts_with('0')) {
        base = 8;
    }
    std::int64_t number = 0;
    const char* const end = word.data() + word.size();
    const auto [stop, error] = std::from_chars(word.data(), end, number, base);
    return stop == end && error == std::errc() && number >= 0 && !word.empty() ? std::optional(number) : std::nullopt;
}

struct MapLine {
    ByteRange range;
    char status = '?';
};

// Place, size and status.
std::optional<MapLine> AreaOf(std::string_view line) {
    const auto first = NumberOf(TakeWord(line));
    const auto count = NumberOf(TakeWord(line));
    const std::string_view status = TakeWord(line);
    constexpr std::string_view known = "?*/-+";
    constexpr std::int64_t most = std::int64_t{1} << 61U;
    if (!first || !count || *first > most || *count > most || status.size() != 1 ||
        known.find(status.front()) == std::string_view::npos) {
        return std::nullopt;
    }
    return MapLine{{*first, *count}, status.front()};
}

std::string TextOf(const std::string& path) {
    File file = FilePlace(path).Read();
    const auto refuse = [&](const std::string& why) {
        return Failure(ExitStatus::NotStarted, fmt::format("cannot read the rescue map '{}': {}", path, why));
    };
    if (!file.IsOpen()) {
        throw refuse(file.Error().Text());
    }
    constexpr std::int64_t largest = std::int64_t{1} << 30U;
    const auto size = file.Size();
    if (!size || *size > largest) {
        throw refuse("it is not a rescue map");
    }
    std::string text(static_cast<std::size_t>(*size), '\0');
    text.resize(file.Read(text.data(), text.size()));
    return text;
}

}  // namespace

std::vector<ByteRange> RescuedAreas(std::string_view text) {
    std::vector<ByteRange> rescued;
    bool hasState = false;
    std::int64_t end = 0;
    for (int number = 1; !text.empty(); ++number) {
        std::string_view line = TakeLine(text);
        std::string_view rest = line;
        if (const std::string_view word = TakeWord(rest); word.empty() || word.starts_with('#')) {
            continue;
        }
        // The first line that is not a comment gives the position of the tool.
        if (!hasState) {
            hasState = NumberOf(TakeWord(line)) && TakeWord(line).size() == 1;
            if (!hasState) {
                throw std::invalid_argument(fmt::format("line {} is not that of a rescue map", number));
            }
            continue;
        }
        const auto area = AreaOf(line);
        if (!area || area->range.first < end) {
            throw std::invalid_argument(fmt::format("line {} makes no sense", number));
        }
        end = area->range.first + area->range.count;
        if (area->status == '+' && area->range.count > 0) {
            rescued.push_back(area->range);
        }
    }
    if (!hasState) {
        throw std::invalid_argument("it is empty");
    }
    return rescued;
}

std::vector<SectorRange> SectorsOutside(const std::vector<ByteRange>& areas, std::int64_t sizeInBytes,
                                        std::int32_t sectorSize) {
    SectorRangeSet outside;
    std::int64_t from = 0;
    const auto add = [&](std::int64_t to) {
        if (to > from) {
            const std::int64_t first = from / sectorSize;
            outside.Add({first, (to - 1) / sectorSize + 1 - first});
        }
    };
    for (const ByteRange& area : areas) {
        add(std::min(area.first, sizeInBytes));
        from = area.first + area.count;
    }
    add(sizeInBytes);
    return outside.Ranges();
}

std::vector<SectorRange> SectorsNotRescued(const std::string& path, std::int64_t sizeInBytes, std::int32_t sectorSize) {
    const std::string text = TextOf(path);
    try {
        return SectorsOutside(RescuedAreas(text), sizeInBytes, sectorSize);
    } catch (const std::invalid_argument& error) {
        throw Failure(ExitStatus::NotStarted, fmt::format("cannot read the rescue map '{}': {}", path, error.what()));
    }
}

std::string MapOfAreas(const std::vector<ByteRange>& areas, std::int64_t sizeInBytes) {
    std::string map =
        "# Areas that hold parts of found files and have not been read. With GNU ddrescue: --domain-mapfile\n"
        "# current_pos  current_status  current_pass\n"
        "0x00000000     +               1\n"
        "#      pos        size  status\n";
    const auto add = [&map](std::int64_t from, std::int64_t to, char status) {
        if (to > from) {
            map += fmt::format("0x{:08X}  0x{:08X}  {}\n", from, to - from, status);
        }
    };
    std::int64_t end = 0;
    for (const ByteRange& area : areas) {
        add(end, area.first, '?');
        end = area.first + area.count;
        add(area.first, end, '+');
    }
    add(end, sizeInBytes, '?');
    return map;
}

}  // namespace salvor
