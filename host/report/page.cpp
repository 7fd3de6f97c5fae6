#include "host/report/page.h"

#include <FileTypeCatalog.h>
#include <FileTypeNotes.h>
#include <fmt/format.h>
#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <iterator>
#include <map>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "host/plan/plan.h"
#include "host/records/base64.h"
#include "host/report/page_parts.h"
#include "host/report/report.h"
#include "host/report/report_reader.h"

namespace salvor {

namespace {

// JSON for use inside an HTML script, which only a `<` could end.
std::string InScript(const std::string& json) {
    std::string text;
    for (const char c : json) {
        if (c == '<') {
            text += "\\u003c";
        } else {
            text += c;
        }
    }
    return text;
}

std::string ScriptJson(const Json& value) {
    return InScript(value.dump(-1, ' ', false, Json::error_handler_t::replace));
}
// Most values are texts and numbers, and there may be millions.
std::string ScriptJson(const std::string& value) { return InScript(JsonText(value)); }
std::string ScriptJson(std::int64_t value) { return std::to_string(value); }

std::vector<std::uint8_t> Sha256Of(std::string_view text) {
    std::vector<std::uint8_t> digest(EVP_MAX_MD_SIZE);
    unsigned length = 0;
    EVP_Digest(text.data(), text.size(), digest.data(), &length, EVP_sha256(), nullptr);
    digest.resize(length);
    return digest;
}

// The bytes of a SHA-256 in hexadecimal; none if it is anything else.
std::vector<std::uint8_t> BytesOfHash(std::string_view hex) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
        const std::size_t high = digits.find(hex[i]);
        const std::size_t low = digits.find(hex[i + 1]);
        if (high == std::string_view::npos || low == std::string_view::npos) {
            return {};
        }
        bytes.push_back(static_cast<std::uint8_t>(high * 16 + low));
    }
    return bytes.size() == 32 ? bytes : std::vector<std::uint8_t>();
}

// Numbers as bytes with seven bits each, the lowest first; all but a number's last have the eighth bit set. The sign is
// the lowest bit.
class Numbers {
public:
    void Add(std::int64_t value) {
        const auto bits = static_cast<std::uint64_t>(value);
        std::uint64_t rest = value < 0 ? ~(bits << 1U) : bits << 1U;
        for (; rest >= 0x80; rest >>= 7U) {
            bytes_.push_back(static_cast<std::uint8_t>(rest | 0x80U));
        }
        bytes_.push_back(static_cast<std::uint8_t>(rest));
    }
    /// A JSON text in Base64.
    std::string Json() const { return '"' + ToBase64(bytes_) + '"'; }

private:
    std::vector<std::uint8_t> bytes_;
};

// What not all files have: JSON values, and the steps from one file that has one to the next.
class SparseColumn {
public:
    template <class Value>
    void Add(std::int64_t file, const Value& value) {
        steps_.Add(file - before_);
        before_ = file;
        values_ += values_.empty() ? '[' : ',';
        values_ += ScriptJson(value);
    }
    std::string Json() const { return fmt::format(R"({{"steps":{},"values":{}]}})", steps_.Json(), values_); }

private:
    Numbers steps_;
    std::int64_t before_ = 0;
    std::string values_;
};

// Numbers for values that occur again and again.
template <class Value>
class Numbered {
public:
    std::int64_t NumberOf(const Value& value) {
        const auto [place, isNew] = numbers_.try_emplace(value, std::ssize(values_));
        if (isNew) {
            values_.push_back(value);
        }
        return place->second;
    }
    const std::vector<Value>& Values() const { return values_; }

private:
    std::map<Value, std::int64_t> numbers_;
    std::vector<Value> values_;
};

// The files of a report, in the form that the page's script reads.
class PageData {
public:
    void Add(const ReportedFile& file) {
        start_.Add(file.startSector - startBefore_);
        startBefore_ = file.startSector;
        size_.Add(file.size);
        type_.Add(types_.NumberOf({file.extension, file.typeName, KindOf(file.types.front())}));
        verdict_.Add(static_cast<std::int64_t>(file.verdict));
        why_.Add(whys_.NumberOf(file.why));
        const std::string hash = ToBase64(BytesOfHash(file.sha256));
        // 32 bytes take 43 digits and one padding character.
        hashes_ += hash.empty() ? std::string(43, ' ') : hash.substr(0, 43);
        AddPlace(file);
        AddOriginal(file.original);
        AddDetails(file.details);
        ++count_;
    }

    // What all files have, and what is said of all together.
    std::string Json(const ReportReader& reader) const {
        const ReportSummary& summary = reader.Summary();
        std::vector<std::string_view> kinds(std::begin(FileTypeGroupNames), std::end(FileTypeGroupNames));
        kinds.emplace_back("Text");
        std::vector<std::string_view> columns;
        for (const auto& [name, column] : sparse_) {
            columns.push_back(name);
        }
        const salvor::Json head{{"program", "salvor " SALVOR_VERSION},
                                {"made", std::time(nullptr)},
                                {"image", summary.image},
                                {"imageSize", summary.imageSize},
                                {"sectorSize", summary.sectorSize},
                                {"isComplete", summary.isComplete},
                                {"damagedLines", reader.DamagedLines()},
                                {"unreadable", RangePairs(summary.unreadable)},
                                {"zeros", RangePairs(summary.zeros)},
                                {"notWritten", summary.notWritten},
                                {"kinds", kinds},
                                {"types", types_.Values()},
                                {"whys", whys_.Values()},
                                {"folders", folders_.Values()},
                                {"columns", columns},
                                {"count", count_}};
        std::string text = ScriptJson(head);
        text.back() = ',';
        return text + fmt::format(R"("start":{},"size":{},"type":{},"verdict":{},"why":{}}})", start_.Json(),
                                  size_.Json(), type_.Json(), verdict_.Json(), why_.Json());
    }

    // What not all files have, each in an element of its own: what the first look needs, or the rest.
    std::string Columns(bool isForFirstLook) const {
        constexpr std::array firstLook = {"folder", "height", "original", "path", "preview", "taken", "width"};
        std::string text;
        for (const auto& [name, column] : sparse_) {
            if (isForFirstLook == (std::ranges::find(firstLook, name) != firstLook.end())) {
                text += fmt::format("<script type=\"application/json\" id=\"column-{}\">{}</script>\n", name,
                                    column.Json());
            }
        }
        return text;
    }

    const std::string& Hashes() const { return hashes_; }

private:
    static salvor::Json RangePairs(const std::vector<SectorRange>& ranges) {
        salvor::Json pairs = salvor::Json::array();
        for (const SectorRange& range : ranges) {
            pairs.push_back({range.first, range.count});
        }
        return pairs;
    }

    // The group of the catalogue; plain text is one more.
    static std::size_t KindOf(std::int32_t type) {
        return IsPlainTextType(type) ? std::size(FileTypeGroupNames)
                                     : static_cast<std::size_t>(FileTypeCatalog[type].group);
    }

    template <class Value>
    void AddSparse(const char* name, const Value& value) {
        sparse_[name].Add(count_, value);
    }
    template <class Value>
    void AddIf(bool isThere, const char* name, const Value& value) {
        if (isThere) {
            AddSparse(name, value);
        }
    }

    void AddPlace(const ReportedFile& file) {
        // The script knows how files are usually named.
        const std::string usual = fmt::format("{0}/f{1:010}.{0}", file.extension, file.startSector);
        AddIf(file.path != usual, "path", file.path);
        std::string others;
        for (std::size_t i = 1; i < file.types.size(); ++i) {
            others += (others.empty() ? "" : ", ") + std::string(FileTypeCatalog[file.types[i]].name);
        }
        AddIf(!others.empty(), "alsoTypes", others);
        AddIf(file.reportedSize && *file.reportedSize != file.size, "reported", file.reportedSize.value_or(0));
        AddIf(file.unreadableBytes > 0, "unreadable", file.unreadableBytes);
        AddIf(!file.flags.empty(), "flags", fmt::format("{}", fmt::join(file.flags, ", ")));
        AddIf(!file.container.empty(), "container", file.container);
        if (file.extents.size() > 1) {
            salvor::Json pieces = salvor::Json::array();
            for (const Extent& piece : file.extents) {
                // Holes are not on the map.
                if (!piece.IsHole()) {
                    pieces.push_back({piece.startSector, piece.bytes});
                }
            }
            AddSparse("extents", pieces);
        }
        if (!file.embedded.empty()) {
            salvor::Json parts = salvor::Json::array();
            for (const ReportedPart& part : file.embedded) {
                parts.push_back({part.startSector, part.extension, part.size, static_cast<int>(part.verdict)});
            }
            AddSparse("embedded", parts);
        }
    }

    void AddOriginal(const OriginalEntry& original) {
        if (!original.path.empty()) {
            const std::size_t name = original.path.rfind('/') + 1;
            AddSparse("folder", folders_.NumberOf(original.path.substr(0, name)));
            AddSparse("original", original.path.substr(name));
        }
        for (const auto& [name, time] : {std::pair("created", original.created),
                                         {"modified", original.modified},
                                         {"accessed", original.accessed},
                                         {"changed", original.changed}}) {
            AddIf(time.has_value(), name, time.value_or(0));
        }
    }

    void AddDetails(const FileDetails& details) {
        AddIf(!details.taken.empty(), "taken", details.taken);
        AddIf(details.width > 0 && details.height > 0, "width", details.width);
        AddIf(details.width > 0 && details.height > 0, "height", details.height);
        AddIf(!details.title.empty(), "title", details.title);
        AddIf(!details.camera.empty(), "camera", details.camera);
        AddIf(!details.preview.empty(), "preview", details.preview);
    }

    std::int64_t count_ = 0;
    std::int64_t startBefore_ = 0;
    Numbers start_;
    Numbers size_;
    Numbers type_;
    Numbers verdict_;
    Numbers why_;
    std::string hashes_;
    std::map<std::string, SparseColumn> sparse_;
    // Extension, name and kind.
    Numbered<std::tuple<std::string, std::string, std::size_t>> types_;
    Numbered<std::string> whys_;
    Numbered<std::string> folders_;
};

// The policy allows the page its own script, its own style and the files beside it, nothing else.
std::string Policy() {
    return fmt::format(
        "default-src 'none'; script-src 'sha256-{}'; style-src 'sha256-{}'; "
        "img-src 'self' file:; media-src 'self' file:; base-uri 'none'; form-action 'none'",
        ToBase64(Sha256Of(PageScript)), ToBase64(Sha256Of(PageStyle)));
}

void WriteParts(const Folder& folder, const PageData& data, const ReportReader& reader) {
    LineFile page(folder, PageName);
    std::string_view rest = PageHtml;
    const auto fill = [&](std::string_view mark, const std::string& text) {
        const std::size_t place = rest.find(mark);
        page.Add(std::string(rest.substr(0, place)));
        page.Add(text);
        rest.remove_prefix(place + mark.size());
    };
    fill("{{policy}}", Policy());
    fill("{{style}}", std::string(PageStyle));
    fill("{{data}}", data.Json(reader));
    fill("{{first}}", data.Columns(true));
    fill("{{script}}", std::string(PageScript));
    fill("{{rest}}", data.Columns(false));
    fill("{{hashes}}", data.Hashes());
    page.Add(std::string(rest));
    page.TakeName();
}

}  // namespace

bool WritePage(const Folder& folder) {
    ReportReader reader(folder);
    PageData data;
    for (ReportedFile file; reader.Next(file);) {
        data.Add(file);
    }
    try {
        WriteParts(folder, data, reader);
    } catch (const Failure&) {
        folder.Remove(std::string(PageName) + ".part");
        throw;
    }
    return SayIfDamaged(reader, folder);
}

}  // namespace salvor
