#include "host/volumes/original_names.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <set>
#include <string_view>
#include <unordered_map>

namespace salvor {

namespace {

using namespace std::string_view_literals;

// Systems allow 255 bytes; a number and the suffixes for drafts and embedded files need some of them.
constexpr std::size_t LongestName = 220;
// The systems' own limits are higher; the output folder's path comes before this one.
constexpr std::size_t LongestPath = 2000;

// Names of devices, which are reserved with any extension too.
constexpr std::array ReservedStems{"con"sv,  "prn"sv,  "aux"sv,  "nul"sv,  "com1"sv, "com2"sv, "com3"sv, "com4"sv,
                                   "com5"sv, "com6"sv, "com7"sv, "com8"sv, "com9"sv, "lpt1"sv, "lpt2"sv, "lpt3"sv,
                                   "lpt4"sv, "lpt5"sv, "lpt6"sv, "lpt7"sv, "lpt8"sv, "lpt9"sv};
// Suffixes of this program's own files.
constexpr std::array OwnSuffixes{".part"sv, ".embedded"sv};

char Lower(char letter) { return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter; }

std::string Lower(std::string_view text) {
    std::string lower(text);
    std::ranges::transform(lower, lower.begin(), [](char letter) { return Lower(letter); });
    return lower;
}

// Bytes of the UTF-8 character at the start of the text; 0 if there is none. Control characters and their visible
// substitutes do not count.
std::size_t CharacterLength(std::string_view text) {
    const auto byte = [text](std::size_t i) {
        return static_cast<std::uint8_t>(text[i]);
    };
    const std::uint8_t lead = byte(0);
    if (lead < 0x80) {
        return lead >= 0x20 && lead != 0x7F ? 1 : 0;
    }
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || text.size() < length) {
        return 0;
    }
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80) {
            return 0;
        }
    }
    const std::uint8_t second = byte(1);
    // The second block of control characters, overlong forms, surrogates, marks that change the writing direction.
    const bool isBad = (lead == 0xC2 && second < 0xA0) || (lead == 0xE0 && second < 0xA0) ||
                       (lead == 0xED && second >= 0xA0) || (lead == 0xF0 && second < 0x90) ||
                       (lead == 0xF4 && second >= 0x90) || (lead == 0xE2 && second == 0x80 && byte(2) >= 0x8B);
    return isBad ? 0 : length;
}

// A name without the bytes that some system does not allow.
std::string Cleaned(std::string_view name) {
    std::string clean;
    while (!name.empty()) {
        const std::size_t length = CharacterLength(name);
        const bool isTaken = length > 0 && R"(<>:"/\|?*)"sv.find(name[0]) == std::string_view::npos;
        clean += isTaken ? std::string(name.substr(0, length)) : "_";
        name.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return clean;
}

// Cut at a character boundary; the extension is kept.
std::string Shortened(const std::string& name, std::size_t longest) {
    if (name.size() <= longest) {
        return name;
    }
    constexpr std::size_t longestExtension = 16;
    const std::size_t dot = name.rfind('.');
    const bool hasExtension = dot != std::string::npos && dot > 0 && name.size() - dot <= longestExtension;
    const std::string extension = hasExtension ? name.substr(dot) : "";
    std::size_t stem = longest - extension.size();
    while (stem > 0 && (static_cast<std::uint8_t>(name[stem]) & 0xC0) == 0x80) {
        --stem;
    }
    return name.substr(0, stem) + extension;
}

std::string HarmlessName(std::string_view name) {
    std::string harmless = Shortened(Cleaned(name), LongestName);
    if (harmless.empty() || harmless.back() == '.' || harmless.back() == ' ') {
        harmless += '_';
    }
    if (harmless.front() == ' ') {
        harmless.insert(0, "_");
    }
    const std::string lower = Lower(harmless);
    std::string_view stem = std::string_view(lower).substr(0, lower.find('.'));
    stem = stem.substr(0, stem.find_last_not_of(' ') + 1);
    if (std::ranges::find(ReservedStems, stem) != ReservedStems.end()) {
        harmless.insert(0, "_");
    }
    const auto isEnd = [&lower](std::string_view suffix) {
        return lower.ends_with(suffix);
    };
    return std::ranges::any_of(OwnSuffixes, isEnd) ? harmless + '_' : harmless;
}

// Assigns paths, each only once.
class Names {
public:
    std::string Take(const std::string& folder, const std::string& name) {
        const std::string parent = FolderFor(folder);
        return Free(parent, name, true);
    }

private:
    // The path for a folder; another name if a file already has its name.
    std::string FolderFor(const std::string& folder) {
        if (const auto known = folders_.find(folder); known != folders_.end()) {
            return known->second;
        }
        std::string path = Root;
        std::string original;
        for (std::string_view rest = folder; !rest.empty();) {
            const std::size_t slash = std::min(rest.find('/'), rest.size());
            const std::string_view name = rest.substr(0, slash);
            rest.remove_prefix(std::min(slash + 1, rest.size()));
            if (name.empty() || path.size() > LongestPath) {
                continue;
            }
            original += std::string(name) + '/';
            const auto known = folders_.find(original);
            path = known != folders_.end() ? known->second : Free(path, HarmlessName(name), false);
            folders_.emplace(original, path);
        }
        return folders_.emplace(folder, path).first->second;
    }

    // A free path. Folders whose names differ only in case are merged.
    std::string Free(const std::string& parent, const std::string& name, bool isFile) {
        const std::size_t dot = name.rfind('.');
        const std::size_t stem = isFile && dot != std::string::npos && dot > 0 ? dot : name.size();
        std::string path = parent + '/' + name;
        int& number = numbers_[Lower(path)];
        while (true) {
            const std::string key = Lower(path);
            const auto [taken, isFree] = taken_.try_emplace(key, Entry{isFile, path});
            if (isFree || (!isFile && !taken->second.isFile)) {
                return taken->second.path;
            }
            ++number;
            path = fmt::format("{}/{}-{}{}", parent, name.substr(0, stem), number + 1, name.substr(stem));
        }
    }

    struct Entry {
        bool isFile = false;
        std::string path;
    };

    static constexpr const char* Root = "original";

    // By the folder's path in the file system.
    std::unordered_map<std::string, std::string> folders_;
    // By the path in lower case.
    std::unordered_map<std::string, Entry> taken_;
    // The last number that was added to a name.
    std::unordered_map<std::string, int> numbers_;
};

}  // namespace

std::vector<std::string> OriginalPaths(const KnownFiles& files) {
    std::set<std::int32_t> volumes;
    for (const KnownFile& file : files.All()) {
        volumes.insert(file.volume);
    }
    Names names;
    std::vector<std::string> paths;
    for (const KnownFile& file : files.All()) {
        const std::size_t slash = file.path.rfind('/');
        const std::string name = file.path.substr(slash + 1);
        const std::string folder = slash == std::string::npos ? "" : file.path.substr(0, slash);
        const std::string volume = volumes.size() > 1 ? fmt::format("volume-{}/", file.volume) : "";
        paths.push_back(name.empty() ? "" : names.Take(volume + folder, HarmlessName(name)));
    }
    return paths;
}

}  // namespace salvor
