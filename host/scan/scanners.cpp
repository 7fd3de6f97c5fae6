#include "host/scan/scanners.h"

#include <IRawFileTypeFactory.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <new>
#include <numeric>
#include <optional>
#include <string_view>

#include "host/say/failure.h"
#include "host/say/nearest_word.h"

namespace salvor {

namespace {

bool IsSameWord(std::string_view a, std::string_view b) {
    return std::ranges::equal(a, b,
                              [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}

// A word for types: those of a group of the catalogue, and extensions with blanks between them.
struct GroupWord {
    std::string_view name;
    std::optional<FileTypeGroup> group;
    std::string_view extensions;
};

constexpr std::array GroupWords = {
    GroupWord{"photos", FileTypeGroup::CameraRaw, "jpg tif webp"},
    GroupWord{"raws", FileTypeGroup::CameraRaw, ""},
    GroupWord{"pictures", FileTypeGroup::Picture, "cam"},
    GroupWord{"drawings", FileTypeGroup::Drawing, "fla odg vsd"},
    GroupWord{"films", FileTypeGroup::Film, ""},
    GroupWord{"sounds", FileTypeGroup::Sound, ""},
    GroupWord{"documents", FileTypeGroup::Document, "html mht"},
    GroupWord{"mail", std::nullopt, "eml msg mht pst dbx"},
    GroupWord{"data", std::nullopt, "mdb mdf odb pzf"},
    GroupWord{"archives", FileTypeGroup::Archive, ""},
};

// Other spellings of an extension. The longer spelling for web pages names bookmarks too.
struct Spelling {
    std::string_view word;
    std::string_view extension;
};
constexpr std::array Spellings = {
    Spelling{"jpeg", "jpg"}, Spelling{"tiff", "tif"},  Spelling{"aiff", "aif"},
    Spelling{"midi", "mid"}, Spelling{"m2ts", "mts"},  Spelling{"rmvb", "rm"},
    Spelling{"text", "txt"}, Spelling{"mpeg4", "mp4"}, Spelling{"html", "htm"},
};

bool HoldsWord(std::string_view words, std::string_view word) {
    for (std::size_t at = 0; at < words.size();) {
        const std::size_t end = std::min(words.find(' ', at), words.size());
        if (words.substr(at, end - at) == word) {
            return true;
        }
        at = end + 1;
    }
    return false;
}

std::vector<TypeGroup> MakeTypeGroups() {
    std::vector<TypeGroup> groups;
    for (const GroupWord& word : GroupWords) {
        TypeGroup& group = groups.emplace_back(TypeGroup{word.name, {}});
        for (std::int32_t type = 0; type < FileTypeCount; ++type) {
            if (FileTypeCatalog[type].group == word.group || HoldsWord(word.extensions, ExtensionOf(type))) {
                group.types.push_back(type);
            }
        }
    }
    return groups;
}

bool NamesType(std::string_view word, std::string_view extension) {
    return IsSameWord(word, extension) || std::ranges::any_of(Spellings, [&](const Spelling& spelling) {
               return IsSameWord(word, spelling.word) && extension == spelling.extension;
           });
}

}  // namespace

ScannerPtr CreateScanner(std::int32_t type) {
    ScannerPtr scanner(GetRawFileTypeFactory()->Create(type));
    if (!scanner) {
        throw std::bad_alloc();
    }
    return scanner;
}

std::vector<std::int32_t> AllTypes() {
    std::vector<std::int32_t> types(FileTypeCount);
    std::iota(types.begin(), types.end(), 0);
    return types;
}

std::vector<std::int32_t> TypesNamed(const std::string& word) {
    std::int32_t index = -1;
    const char* const end = word.data() + word.size();
    if (const auto [stop, error] = std::from_chars(word.data(), end, index);
        stop == end && error == std::errc() && index >= 0 && index < FileTypeCount) {
        return {index};
    }
    const std::string_view extension = std::string_view(word).substr(word.starts_with('.') ? 1 : 0);
    if (const auto group =
            std::ranges::find_if(TypeGroups(), [&](const TypeGroup& one) { return IsSameWord(extension, one.name); });
        group != TypeGroups().end()) {
        return group->types;
    }
    std::vector<std::int32_t> types;
    for (std::int32_t type = 0; type < FileTypeCount; ++type) {
        if (NamesType(extension, ExtensionOf(type))) {
            types.push_back(type);
        }
    }
    return types;
}

std::vector<std::int32_t> RequireTypes(const std::string& option, const std::string& word) {
    std::vector<std::int32_t> types = TypesNamed(word);
    if (types.empty()) {
        throw Failure(ExitStatus::Usage, fmt::format("{}: '{}' names no type{}; 'salvor types' lists them", option,
                                                     word, MeantText(word, TypeWords())));
    }
    return types;
}

std::span<const TypeGroup> TypeGroups() {
    static const std::vector<TypeGroup> groups = MakeTypeGroups();
    return groups;
}

std::vector<std::string> TypeWords() {
    std::vector<std::string> words;
    words.reserve(GroupWords.size());
    for (const GroupWord& group : GroupWords) {
        words.emplace_back(group.name);
    }
    for (std::int32_t type = 0; type < FileTypeCount; ++type) {
        if (std::ranges::find(words, ExtensionOf(type)) == words.end()) {
            words.emplace_back(ExtensionOf(type));
        }
    }
    return words;
}

}  // namespace salvor
