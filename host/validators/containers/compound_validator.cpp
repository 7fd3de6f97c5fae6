#include <algorithm>
#include <string>
#include <string_view>

#include "formats/CompoundRecords.h"
#include "frame/contract/FileTypeCatalog.h"
#include "host/validators/containers/compound_content.h"
#include "host/validators/containers/compound_file.h"
#include "host/validators/validator.h"

namespace salvor {

namespace {

namespace Type = FileTypeIndex;

struct Kind {
    std::int32_t type;
    const char* extension = "";
};

using ClassId = std::array<std::uint8_t, 16>;

// Only the root's entries show the kind: files embed other files, whose streams say nothing about it.
class RootView {
public:
    explicit RootView(const CompoundFile& file) : file_(file) {}

    bool Has(std::string_view name) const {
        return Any([name](const CompoundNode& node) { return node.name == name; });
    }
    bool HasBeginningWith(std::string_view start) const {
        return Any([start](const CompoundNode& node) { return node.name.starts_with(start); });
    }
    /// True for entries such as "Page 1".
    bool HasNumbered(std::string_view start) const {
        return Any([start](const CompoundNode& node) {
            return node.name.starts_with(start) && node.name.size() > start.size() &&
                   std::ranges::all_of(std::string_view(node.name).substr(start.size()),
                                       [](char c) { return c >= '0' && c <= '9'; });
        });
    }
    /// Compares the first bytes of the class identifier, in the file's byte order.
    bool IsOfClass(std::string_view start) const {
        const ClassId& id = file_.Nodes()[0].classId;
        return std::ranges::equal(std::span(id).first(start.size()), start, {}, {},
                                  [](char c) { return static_cast<std::uint8_t>(c); });
    }

private:
    template <class Test>
    bool Any(Test test) const {
        return std::ranges::any_of(file_.Children(), [&](std::uint32_t child) { return test(file_.Nodes()[child]); });
    }

    const CompoundFile& file_;
};

bool IsMessage(const RootView& root) {
    return root.Has("__properties_version1.0") &&
           (root.HasBeginningWith("__nameid") || root.HasBeginningWith("__substg"));
}

bool IsFlash(const RootView& root) {
    // 597CAA70-72AA-11CF-831E-524153480000 and B4F235FE-...
    if (root.IsOfClass("\x70\xAA\x7C\x59\xAA\x72\xCF\x11") || root.IsOfClass("\xFE\x35\xF2\xB4")) {
        return true;
    }
    return root.Has("Contents") &&
           (root.HasNumbered("Page ") || root.HasNumbered("P ") || root.HasNumbered("Symbol ") ||
            root.HasNumbered("S ") || root.HasNumbered("Media ") || root.HasNumbered("M "));
}

bool IsPublisher(const RootView& root) {
    using namespace std::string_view_literals;
    // 0002120x-0000-0000-C000-000000000046.
    for (const std::string_view start :
         {"\x00\x12\x02\x00\0\0"sv, "\x01\x12\x02\x00\0\0"sv, "\x02\x12\x02\x00\0\0"sv}) {
        if (root.IsOfClass(start)) {
            return true;
        }
    }
    return root.Has("Quill");
}

// Extensions of kinds that have no type in the catalogue.
struct OtherKind {
    std::string_view stream;
    const char* extension;
};
constexpr OtherKind OtherKinds[] = {
    {"MatOST", "wps"},
    {"StarWriterDocument", "sdw"},
    {"StarCalcDocument", "sdc"},
    {"StarDrawDocument3", "sda"},
    {"HwpSummaryInformation", "hwp"},
    {"\5HwpSummaryInformation", "hwp"},
    {"BasicFileInfo", "rvt"},
    {"SwDocContentMgr", "sldprt"},
    {"Catalog", "db"},
};

Kind OtherKindOf(const RootView& root) {
    // 000C1084-0000-0000-C000-000000000046, and 1086 for patches.
    if (root.IsOfClass("\x84\x10\x0C")) {
        return {Type::Doc, "msi"};
    }
    if (root.IsOfClass("\x86\x10\x0C")) {
        return {Type::Doc, "msp"};
    }
    const auto* const known =
        std::ranges::find_if(OtherKinds, [&](const OtherKind& kind) { return root.Has(kind.stream); });
    return {Type::Doc, known == std::end(OtherKinds) ? "ole" : known->extension};
}

Kind KindOf(const CompoundFile& file) {
    const RootView root(file);
    if (IsMessage(root)) {
        return {Type::Msg};
    }
    if (IsFlash(root)) {
        return {Type::Fla};
    }
    if (root.Has("WordDocument")) {
        return {Type::Doc};
    }
    if (root.Has("VisioDocument")) {
        return {Type::Vsd};
    }
    if (root.Has("PowerPoint Document") || root.Has("PP40")) {
        return {Type::Ppt};
    }
    if (IsPublisher(root)) {
        return {Type::Pub};
    }
    if (root.Has("Workbook") || root.Has("Book")) {
        return {root.Has("ETExtData") ? Type::Et : Type::Xls};
    }
    if (root.HasBeginningWith("Props") && root.HasBeginningWith("   ")) {
        return {Type::Mpp};
    }
    if (root.Has("Scene") && root.Has("DllDirectory")) {
        return {Type::Max};
    }
    if (root.Has("NativeContent_MAIN")) {
        return {Type::Qpw};
    }
    if (root.Has("PerfectOffice_MAIN")) {
        return {Type::Shw};
    }
    if (root.Has("PageMaker")) {
        return {Type::P65};
    }
    if (root.Has("Layer") && (root.Has("PAPER SPACE") || root.Has("VIEWDATA") || root.Has("SYMBOL"))) {
        return {Type::Dcd};
    }
    return OtherKindOf(root);
}

bool Begins(ByteSpan head) { return StartsWith(head, CompoundSignature); }

// The finding for a file with broken tables, of which `right` bytes may be intact.
Finding Broken(const CompoundFile& tables, Place& file, std::int64_t right) {
    Finding finding{
        .verdict = Verdict::Damaged, .size = right, .type = Type::Doc, .extension = "ole", .why = tables.Fault()};
    const std::int64_t next = file.NextStart(1);
    if (tables.Condition() == CompoundFile::State::PassesEnd) {
        finding.verdict = Verdict::Truncated;
        finding.size = tables.HasFat() ? tables.End() : file.Limit();
    } else if (!tables.HasFat() && next < right) {
        finding.verdict = Verdict::Truncated;
    }
    return finding;
}

Finding Validate(Place& file) {
    CompoundFile tables(file);
    if (tables.Condition() == CompoundFile::State::NoFile) {
        return {.why = "its header is not one of a compound file"};
    }
    // A header alone is not a file.
    if (tables.Nodes().empty() && tables.Condition() == CompoundFile::State::Broken && !tables.HasRoot()) {
        return {.why = tables.Fault()};
    }
    const Kind kind = tables.Nodes().empty() ? Kind{Type::Doc, "ole"} : KindOf(tables);
    if (tables.Condition() != CompoundFile::State::Sound) {
        Finding finding = Broken(tables, file, tables.End());
        finding.type = kind.type;
        finding.extension = kind.extension;
        return finding;
    }
    const std::string fault = CompoundContentFault(tables);
    return {
        .verdict = fault.empty() ? Verdict::Whole : Verdict::Damaged,
        .size = tables.End(),
        .type = kind.type,
        .extension = kind.extension,
        .why = fault.empty() ? "allocation table: last sector in use " + std::to_string(tables.LastSector()) : fault};
}

constexpr StartSignature Starts[] = {{"\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1"}};

constexpr std::int32_t Types[] = {FileTypeIndex::Doc, FileTypeIndex::Xls, FileTypeIndex::Ppt, FileTypeIndex::Vsd,
                                  FileTypeIndex::Mpp, FileTypeIndex::Pub, FileTypeIndex::Msg, FileTypeIndex::Dcd,
                                  FileTypeIndex::Et,  FileTypeIndex::Dps, FileTypeIndex::Fla, FileTypeIndex::Max,
                                  FileTypeIndex::P65, FileTypeIndex::Qpw, FileTypeIndex::Shw};

}  // namespace

extern const Validator CompoundValidator;
const Validator CompoundValidator{
    .name = "compound", .starts = Starts, .begins = Begins, .validate = Validate, .types = Types};

}  // namespace salvor
