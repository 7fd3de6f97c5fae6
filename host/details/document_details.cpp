#include "host/details/document_details.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <pugixml.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "host/details/source_window.h"
#include "host/details/text_details.h"
#include "host/details/times.h"
#include "host/validators/containers/compound_file.h"
#include "host/validators/containers/zip_archive.h"

namespace salvor {

namespace {

// The text of the first element with one of these names, with any prefix, in the root or in one of its children.
std::string TextOf(const pugi::xml_node& root, std::initializer_list<std::string_view> names) {
    const auto isNamed = [&names](const pugi::xml_node& node) {
        std::string_view name = node.name();
        name.remove_prefix(name.find(':') == std::string_view::npos ? 0 : name.find(':') + 1);
        return std::ranges::find(names, name) != names.end() && *node.child_value() != '\0';
    };
    for (const pugi::xml_node& child : root.children()) {
        const pugi::xml_node found = isNamed(child) ? child : child.find_child(isNamed);
        if (!found.empty()) {
            return found.child_value();
        }
    }
    return {};
}

FileDetails DetailsIn(const std::string& xml) {
    pugi::xml_document document;
    FileDetails details;
    if (document.load_buffer(xml.data(), xml.size())) {
        const pugi::xml_node root = document.document_element();
        details.title = TextOf(root, {"title"});
        details.taken = TimeIn(TextOf(root, {"created", "creation-date", "date"}));
    }
    return details;
}

// An EPUB's own list of its parts is named in a file of a fixed name.
std::string BookList(ZipArchive& package) {
    const std::string container = package.MemberText("META-INF/container.xml");
    pugi::xml_document document;
    document.load_buffer(container.data(), container.size());
    const pugi::xml_node root =
        document.find_node([](const pugi::xml_node& node) { return std::string_view(node.name()) == "rootfile"; });
    return package.MemberText(root.attribute("full-path").value());
}

FileDetails ReadPackage(ByteWindow& file) {
    ZipArchive package(file);
    for (const char* name : {"docProps/core.xml", "meta.xml"}) {
        if (const std::string xml = package.MemberText(name); !xml.empty()) {
            return DetailsIn(xml);
        }
    }
    return DetailsIn(BookList(package));
}

void AddUtf8(std::string& text, std::uint32_t unit) {
    const auto add = [&text](std::uint32_t byte) {
        text += static_cast<char>(static_cast<unsigned char>(byte));
    };
    if (unit < 0x80) {
        add(unit);
    } else if (unit < 0x800) {
        add(0xC0U | unit >> 6U);
        add(0x80U | (unit & 0x3FU));
    } else {
        add(0xE0U | unit >> 12U);
        add(0x80U | (unit >> 6U & 0x3FU));
        add(0x80U | (unit & 0x3FU));
    }
}

// The properties of a SummaryInformation stream. Source: [MS-OLEPS].
class PropertySet {
public:
    explicit PropertySet(ByteSpan stream) : stream_(stream) {
        constexpr std::size_t offsetOfFirst = 44;
        section_ = LongAt(offsetOfFirst).value_or(0);
        codePage_ = static_cast<std::uint16_t>(ValueOf(CodePage, TwoBytes).value_or(0) & 0xFFFFU);
    }

    std::string Title() const {
        constexpr std::uint32_t title = 2;
        std::string text;
        if (const auto at = PlaceOf(title, NarrowText)) {
            const std::size_t length = std::min<std::size_t>(LongAt(*at).value_or(0), MostText);
            for (std::size_t i = *at + 4; i < *at + 4 + length && i < stream_.size() && stream_[i] != 0; ++i) {
                AddNarrow(text, stream_[i]);
            }
        } else if (const auto wide = PlaceOf(title, WideText)) {
            const std::size_t length = std::min<std::size_t>(LongAt(*wide).value_or(0), MostText);
            for (std::size_t i = *wide + 4; i < *wide + 4 + 2 * length && i + 1 < stream_.size(); i += 2) {
                if (const auto unit = static_cast<std::uint16_t>(stream_[i] | stream_[i + 1] << 8U); unit != 0) {
                    AddUtf8(text, unit);
                }
            }
        }
        return text;
    }

    /// When the document was made, or else when it was last saved.
    std::string Created() const {
        constexpr std::uint32_t created = 12;
        constexpr std::uint32_t saved = 13;
        const std::string time = TimeAt(created);
        return time.empty() ? TimeAt(saved) : time;
    }

private:
    enum Kind : std::uint32_t { TwoBytes = 2, NarrowText = 0x1E, WideText = 0x1F, FileTime = 0x40 };
    static constexpr std::uint32_t CodePage = 1;
    static constexpr std::size_t MostText = 4096;

    std::optional<std::uint32_t> LongAt(std::size_t at) const {
        return at + 4 <= stream_.size() ? std::optional(LoadLittle<std::uint32_t>(stream_, at)) : std::nullopt;
    }

    // Where the value of a property of this kind begins.
    std::optional<std::size_t> PlaceOf(std::uint32_t property, Kind kind) const {
        constexpr std::uint32_t mostProperties = 256;
        const std::uint32_t count = std::min(LongAt(section_ + 4).value_or(0), mostProperties);
        for (std::size_t i = 0; i < count; ++i) {
            const std::size_t entry = section_ + 8 + 8 * i;
            const auto offset = LongAt(entry + 4);
            if (LongAt(entry) == property && offset && LongAt(section_ + *offset) == kind) {
                return section_ + *offset + 4;
            }
        }
        return std::nullopt;
    }

    std::optional<std::uint32_t> ValueOf(std::uint32_t property, Kind kind) const {
        const auto at = PlaceOf(property, kind);
        return at ? LongAt(*at) : std::nullopt;
    }

    std::string TimeAt(std::uint32_t property) const {
        const auto at = PlaceOf(property, FileTime);
        return at && *at + sizeof(std::uint64_t) <= stream_.size()
                   ? TimeOfFileTime(LoadLittle<std::uint64_t>(stream_, *at))
                   : "";
    }

    // Other code pages need tables that are files of the system.
    void AddNarrow(std::string& text, std::uint8_t byte) const {
        constexpr std::uint16_t utf8 = 65001;
        constexpr std::uint16_t western = 1252;
        constexpr std::uint16_t replacement = 0xFFFD;
        if (codePage_ == utf8) {
            text += static_cast<char>(byte);
        } else {
            AddUtf8(text, byte < 0x80 || (codePage_ == western && byte >= 0xA0) ? byte : replacement);
        }
    }

    ByteSpan stream_;
    std::size_t section_ = 0;
    std::uint16_t codePage_ = 0;
};

FileDetails ReadCompound(ByteWindow& window) {
    CompoundFile file(window);
    FileDetails details;
    const CompoundNode* const node = file.Stream("\5SummaryInformation");
    if (file.Condition() != CompoundFile::State::Sound || node == nullptr) {
        return details;
    }
    constexpr std::int64_t mostBytes = std::int64_t{1} << 16U;
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(std::clamp<std::int64_t>(node->size, 0, mostBytes)));
    CompoundStream stream(file, *node);
    if (stream.Copy(0, bytes)) {
        const PropertySet properties{ByteSpan(bytes)};
        details.title = properties.Title();
        details.taken = properties.Created();
    }
    return details;
}

}  // namespace

FileDetails ReadDocumentDetails(MediumSource& document) {
    SourceWindow file(document);
    const ByteSpan head = file.At(0, 2);
    if (head.size() < 2) {
        return {};
    }
    if (head[0] == 'P' && head[1] == 'K') {
        return ReadPackage(file);
    }
    // The first bytes of a compound file.
    return head[0] == 0xD0 && head[1] == 0xCF ? ReadCompound(file) : ReadTextDetails(document);
}

}  // namespace salvor
