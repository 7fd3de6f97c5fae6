#include "host/scan/scanners.h"

#include <IRawFileTypeFactory.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <new>
#include <numeric>
#include <string_view>

#include "host/say/failure.h"
#include "host/say/nearest_word.h"

namespace salvor {

namespace {

bool IsSameWord(std::string_view a, std::string_view b) {
    return std::ranges::equal(a, b,
                              [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}

constexpr std::array Groups = {
    TypeGroup{"photos", "jpg tif webp cam arw cr2 cr3 crw dcr dng mrw nef orf pef raf rdc srf x3f"},
    TypeGroup{"raws", "arw cr2 cr3 crw dcr dng mrw nef orf pef raf rdc srf x3f"},
    TypeGroup{"pictures", "jpg tif webp cam png gif bmp psd psp xcf pcx oci ico cur ani abr icc"},
    TypeGroup{"drawings", "ai cdr dwg dxf dcd exb wmf emf sdr vsd odg fla mb max"},
    TypeGroup{"films", "mp4 mov 3gp m4v avi wmv asf mkv webm flv swf rm vob mts veg"},
    TypeGroup{"sounds", "mp3 m4a wma wav aif ogg au mid mmf"},
    TypeGroup{"documents",
              "pdf doc docx odt wpd txt htm html xml mht xls xlsx ods et pxl qpw ppt pptx odp dps shw vsd mpp pub odg "
              "odf one "
              "qxp qpt p65 hlp chm"},
    TypeGroup{"mail", "eml msg mht pst dbx"},
    TypeGroup{"data", "mdb mdf odb pzf"},
    TypeGroup{"archives", "zip jar 7z rar cab"},
};

// Other spellings of an extension. The longer spelling of web pages names bookmarks too.
constexpr std::array Spellings = {
    TypeGroup{"jpeg", "jpg"}, TypeGroup{"tiff", "tif"},  TypeGroup{"aiff", "aif"},
    TypeGroup{"midi", "mid"}, TypeGroup{"m2ts", "mts"},  TypeGroup{"rmvb", "rm"},
    TypeGroup{"text", "txt"}, TypeGroup{"mpeg4", "mp4"}, TypeGroup{"html", "htm"},
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

bool NamesType(std::string_view word, std::string_view extension) {
    const auto names = [&](const TypeGroup& group) {
        return IsSameWord(word, group.name) && HoldsWord(group.extensions, extension);
    };
    return IsSameWord(word, extension) || std::ranges::any_of(Groups, names) || std::ranges::any_of(Spellings, names);
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

std::span<const TypeGroup> TypeGroups() { return Groups; }

std::vector<std::string> TypeWords() {
    std::vector<std::string> words;
    words.reserve(std::size(Groups));
    for (const TypeGroup& group : Groups) {
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
