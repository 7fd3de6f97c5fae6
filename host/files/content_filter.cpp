#include "host/files/content_filter.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>

#include "host/platform/file_place.h"
#include "host/records/line_log.h"
#include "host/say/failure.h"
#include "host/say/say.h"
#include "host/say/size_text.h"

namespace salvor {

namespace {

// Hexadecimal digits of a digest of each kind.
constexpr std::array<std::size_t, 3> Lengths{32, 40, 64};

std::optional<std::uint8_t> HexValue(char digit) {
    if (digit >= '0' && digit <= '9') {
        return static_cast<std::uint8_t>(digit - '0');
    }
    const char lower = static_cast<char>(std::tolower(static_cast<unsigned char>(digit)));
    return lower >= 'a' && lower <= 'f' ? std::optional(static_cast<std::uint8_t>(lower - 'a' + 10)) : std::nullopt;
}

// The field in a line of CSV, without its quotes; without quotes, everything up to a comma.
std::string_view CsvField(std::string_view line, std::size_t column) {
    for (;; --column) {
        const bool isQuoted = line.starts_with('"');
        line.remove_prefix(isQuoted ? 1 : 0);
        const std::size_t end = std::min(line.find(isQuoted ? '"' : ','), line.size());
        if (column == 0) {
            return line.substr(0, end);
        }
        const std::size_t comma = line.find(',', end);
        if (comma == std::string_view::npos) {
            return {};
        }
        line.remove_prefix(comma + 1);
    }
}

// Reads "SHA-1" and "sha1" as the same.
std::string ColumnName(std::string_view field) {
    std::string name;
    for (const char c : field) {
        if (std::isalnum(static_cast<unsigned char>(c)) != 0) {
            name += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        }
    }
    return name;
}

// The column of the strongest hash, if the line has column names.
std::optional<std::size_t> HashColumn(std::string_view line) {
    constexpr std::size_t mostColumns = 32;
    for (const std::string_view wanted : {"sha256", "sha1", "md5"}) {
        for (std::size_t column = 0; column < mostColumns; ++column) {
            if (ColumnName(CsvField(line, column)) == wanted) {
                return column;
            }
        }
    }
    return std::nullopt;
}

// The text from the hash on. Before it may be blanks, a byte-order mark, a mark for an escaped name, or the name
// itself, as in "SHA256 (name) = 01ab...".
std::string_view WithoutHead(std::string_view text) {
    if (const std::size_t sign = text.rfind(") = "); sign != std::string_view::npos) {
        text.remove_prefix(sign + 4);
    }
    text.remove_prefix(std::min(text.find_first_not_of(" \t\\\xEF\xBB\xBF"), text.size()));
    return text;
}

}  // namespace

std::optional<HashList::Key> HashList::KeyOf(std::string_view hex) {
    Key key{};
    for (std::size_t i = 0; i < key.size(); ++i) {
        const auto high = HexValue(hex[2 * i]);
        const auto low = HexValue(hex[2 * i + 1]);
        if (!high || !low) {
            return std::nullopt;
        }
        key[i] = static_cast<std::uint8_t>(*high * 16U + *low);
    }
    return key;
}

bool HashList::AddLine(std::string_view text) {
    text = WithoutHead(text);
    const auto isHex = [](char c) {
        return HexValue(c).has_value();
    };
    const auto digits = static_cast<std::size_t>(std::ranges::find_if_not(text, isHex) - text.begin());
    const auto kind = static_cast<std::size_t>(std::ranges::find(Lengths, digits) - Lengths.begin());
    if (kind == Lengths.size()) {
        return false;
    }
    keys_[kind].push_back(*KeyOf(text));
    return true;
}

void HashList::SortAll() {
    for (std::vector<Key>& keys : keys_) {
        std::ranges::sort(keys);
        keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
    }
}

void HashList::Add(const std::string& path) {
    File file = FilePlace(path).Read();
    if (!file.IsOpen()) {
        throw Failure(ExitStatus::NotStarted,
                      fmt::format("cannot read the list of hashes '{}': {}", path, file.Error().Text()));
    }
    LineReader lines(file);
    std::size_t column = 0;
    std::int64_t hashes = 0;
    std::int64_t others = 0;
    // Many products contain the same file: duplicates are removed each time that the list has doubled.
    std::int64_t nextSort = std::int64_t{1} << 22;
    for (std::string line; lines.Next(line);) {
        const std::string_view text = CsvField(line, column);
        if (AddLine(text)) {
            if (++hashes == nextSort) {
                SortAll();
                nextSort = hashes + std::ssize(keys_[0]) + std::ssize(keys_[1]) + std::ssize(keys_[2]);
            }
        } else if (const auto named = hashes == 0 ? HashColumn(line) : std::nullopt) {
            column = *named;
        } else if (!line.empty() && !line.starts_with('#') && line != "\r") {
            ++others;
        }
    }
    if (hashes == 0) {
        throw Failure(ExitStatus::Usage,
                      fmt::format("'{}' is not a list of hashes: no line begins with an MD5, a SHA-1 or a SHA-256 in "
                                  "hexadecimal",
                                  path));
    }
    if (others > 0) {
        Say("passed over {} without a hash in '{}'", Counted(others, "line"), path);
    }
    SortAll();
}

HashKinds HashList::Kinds() const { return {!keys_[0].empty(), !keys_[1].empty(), !keys_[2].empty()}; }

bool HashList::Contains(const FileHashes& hashes) const {
    const std::array<const std::string*, 3> texts{&hashes.md5, &hashes.sha1, &hashes.sha256};
    for (std::size_t i = 0; i < keys_.size(); ++i) {
        const std::optional<Key> key = texts[i]->size() == Lengths[i] ? KeyOf(*texts[i]) : std::nullopt;
        if (key && std::ranges::binary_search(keys_[i], *key)) {
            return true;
        }
    }
    return false;
}

std::optional<std::size_t> SameBytes::EarlierOf(const std::string& sha256, std::size_t number) {
    const auto [place, isNew] = numbers_.try_emplace(sha256, number);
    return isNew ? std::nullopt : std::optional(place->second);
}

}  // namespace salvor
