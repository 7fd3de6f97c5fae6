#include <FileTypeCatalog.h>
#include <FileTypeNotes.h>
#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/app/command.h"
#include "host/app/help.h"
#include "host/say/say.h"
#include "host/say/size_text.h"
#include "host/scan/scanners.h"

namespace salvor {

namespace {

std::string FormatCap(std::int64_t cap) {
    if (cap == CapInEngine) {
        return "by its engine";
    }
    return cap == NoCap ? "none" : FormatExactSize(cap);
}

// Each only once, separated by blanks.
std::string ExtensionsOf(const TypeGroup& group) {
    std::vector<std::string_view> extensions;
    for (const std::int32_t type : group.types) {
        if (std::ranges::find(extensions, ExtensionOf(type)) == extensions.end()) {
            extensions.emplace_back(ExtensionOf(type));
        }
    }
    return fmt::format("{}", fmt::join(extensions, " "));
}

std::string Table() {
    std::string table = fmt::format("{:>5}  {:<9}  {:<31}  {:>16}  {:<26}\n", "index", "extension", "name", "size cap",
                                    "plausible sizes");
    for (std::int32_t type = 0; type < FileTypeCount; ++type) {
        const FileTypeIdentity& identity = FileTypeCatalog[type];
        const std::string range = identity.largestSize == 0
                                      ? ""
                                      : fmt::format("{} to {}", FormatExactSize(identity.smallestSize),
                                                    FormatExactSize(identity.largestSize));
        table += fmt::format("{:>5}  {:<9}  {:<31}  {:>16}  {:<26}\n", type, identity.extension, identity.name,
                             FormatCap(identity.maxSize), range);
    }
    table += "\nWords for several of them:\n";
    for (const TypeGroup& group : TypeGroups()) {
        table += fmt::format("  {:<9}  {}\n", group.name, Wrapped(ExtensionsOf(group), 13));
    }
    return table;
}

// A labelled paragraph; nothing for an empty text.
std::string Paragraph(std::string_view label, std::string_view text) {
    constexpr std::size_t indent = 10;
    return text.empty() ? "" : fmt::format("  {:<{}}{}\n", label, indent - 2, Wrapped(text, indent));
}

std::string SizeText(const FileTypeIdentity& identity) {
    const std::string_view exactness = SizeExactnessNames[static_cast<int>(identity.reportedSize)];
    const std::string cap = identity.maxSize > 0 ? "up to " + FormatExactSize(identity.maxSize) + "; " : "";
    switch (identity.reportedSize) {
        case SizeExactness::Exact:
            return fmt::format("{}{}: the scan walks the whole structure.", cap, exactness);
        case SizeExactness::Estimated:
            return fmt::format("{}{}: the scan does not walk the whole structure.", cap, exactness);
        case SizeExactness::StartOnly:
            return fmt::format("{}{}: the end is worked out when files are written.", cap, exactness);
    }
    return "";
}

std::string Explain(std::int32_t type) {
    const FileTypeIdentity& identity = FileTypeCatalog[type];
    const FileTypeNotes& notes = FileTypeNotesOf[type];
    return fmt::format("{}: {} ({})\n", identity.extension, identity.name, type) + Paragraph("Found", notes.found) +
           Paragraph("End", notes.end) + Paragraph("Size", SizeText(identity)) + Paragraph("Limits", notes.limits) +
           Paragraph("Source", notes.source);
}

ExitStatus RunTypes(const std::vector<std::string>& words) {
    std::string text = words.empty() ? Table() : "";
    for (const std::string& word : words) {
        for (const std::int32_t type : RequireTypes("types", word)) {
            text += (text.empty() ? "" : "\n") + Explain(type);
        }
    }
    Tell(text);
    return ExitStatus::Done;
}

}  // namespace

Command TypesCommandLine() {
    const auto words = std::make_shared<std::vector<std::string>>();
    Command line{
        .name = "types", .description = "List the file types that can be found, or explain some", .group = "More"};
    line.options.push_back({.name = "TYPE",
                            .target = words.get(),
                            .help = "Types to explain: extensions, indices or groups such as photos"});
    line.footer = "Example: salvor types jpg pdf";
    line.run = [words] {
        return RunTypes(*words);
    };
    return line;
}

}  // namespace salvor
