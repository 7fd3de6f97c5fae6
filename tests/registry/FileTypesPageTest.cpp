#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "frame/contract/FileTypeCatalog.h"
#include "frame/contract/FileTypeNotes.h"
#include "frame/contract/FormatChecks.h"
#include "tests/support/Registry.h"

// Makes docs/file-types.md from the catalogue, the notes and the fixtures, and compares it with the page as it is.
namespace {

using TypeIndices = std::vector<std::int32_t>;

constexpr const char* Introduction = R"(# File types

What the library's scanners recognise, how they find the end of a file, and what they miss. This page is generated from the
library's catalogue and notes and from the fixtures of the tests; `SALVOR_UPDATE_DOCS=1 ./test` updates it.
`salvor types jpg` prints the same for one type.

Every file must begin at the start of a sector and lie in one piece. In brackets after a type's name are its index in the
factory, how reliable the reported size is, and the largest size that is reported unless the host sets another. A reported
size is

- *exact* if the scanner walks the whole structure;
- *estimated* if it rests on less, such as a length that the file declares, a footer or what comes next on the medium;
- *start only* if it is always 0 and the host decides the size.

The program works out sizes itself; see [What the program checks](#what-the-program-checks).
)";

std::string SizeText(std::int64_t size) {
    // Caps of 32-bit fields.
    if (size % 1024 == 1023) {
        return "just under " + SizeText(size + 1);
    }
    constexpr std::array units{" bytes", " KiB", " MiB", " GiB"};
    std::size_t unit = 0;
    while (unit + 1 < units.size() && size % 1024 == 0) {
        size /= 1024;
        ++unit;
    }
    return std::to_string(size) + units[unit];
}

void WriteTitle(std::ostream& page, std::int32_t index) {
    const FileTypeIdentity& type = FileTypeCatalog[index];
    page << "**" << type.extension << "**, " << std::string_view(type.name) << " (" << index << ", "
         << SizeExactnessNames[static_cast<int>(type.reportedSize)];
    if (type.maxSize > 0) {
        page << ", " << SizeText(type.maxSize);
    }
    page << "): " << FileTypeNotesOf[index].found;
}

// Types of a group with the same text about their ends share a paragraph.
void WriteGroup(std::ostream& page, std::size_t group) {
    page << "\n## " << FileTypeGroupNames[group] << "\n";
    std::vector<TypeIndices> paragraphs;
    for (std::int32_t index = 0; index < FileTypeCount; ++index) {
        if (FileTypeCatalog[index].group != static_cast<FileTypeGroup>(group)) {
            continue;
        }
        const FileTypeNotes& notes = FileTypeNotesOf[index];
        const auto sameEnd = std::ranges::find_if(paragraphs, [&](const TypeIndices& types) {
            const FileTypeNotes& first = FileTypeNotesOf[types.front()];
            return std::string_view(first.end) == notes.end && std::string_view(first.limits) == notes.limits &&
                   std::string_view(first.source) == notes.source;
        });
        (sameEnd == paragraphs.end() ? paragraphs.emplace_back() : *sameEnd).push_back(index);
    }
    for (const TypeIndices& types : paragraphs) {
        page << "\n";
        for (const std::int32_t index : types) {
            WriteTitle(page, index);
            // A line break.
            page << (index == types.back() ? "\n" : "\\\n");
        }
        const FileTypeNotes& notes = FileTypeNotesOf[types.front()];
        page << "- End: " << notes.end << "\n";
        if (*notes.limits != '\0') {
            page << "- Limits: " << notes.limits << "\n";
        }
        page << "- Source: " << notes.source << "\n";
    }
}

void WriteChecks(std::ostream& page) {
    page << "\n## What the program checks\n\nThe sizes above are those of the library's scanners. The program follows "
            "each file's structure itself and\ncalls a file whole only if this holds:\n\n"
            "| Format | Checked |\n| --- | --- |\n";
    for (const FormatChecks& checks : FormatChecksOf) {
        page << "| " << checks.format << " | " << checks.checked << " |\n";
    }
}

void WriteFixtures(std::ostream& page) {
    std::ostringstream table;
    std::size_t exact = 0;
    for (const test::Fixture& fixture : test::Fixtures()) {
        const auto size = std::ssize(fixture.bytes);
        const std::int64_t reported = fixture.types.empty() ? 0 : fixture.SizeReportedBy(fixture.types.front());
        if (!fixture.types.empty() && reported == size) {
            ++exact;
            continue;
        }
        table << "| " << fixture.name << " |";
        for (const std::int32_t index : fixture.types) {
            table << " " << FileTypeCatalog[index].extension;
        }
        if (fixture.types.empty()) {
            table << " none | " << size << " | | |\n";
        } else {
            table << " | " << size << " | " << reported << " | " << (reported > size ? "+" : "") << reported - size
                  << " |\n";
        }
    }
    page << "\n## Sizes of the sample files\n\nOf the " << test::Fixtures().size()
         << " files of `samples/fixtures` and of the tests, which build those that no program writes, " << exact
         << " are reported\nwith their real size. The others, in bytes:\n\n"
            "| File | Reported by | Real size | Reported size | Difference |\n| --- | --- | ---: | ---: | ---: |\n"
         << table.str();
}

std::string Page() {
    std::ostringstream page;
    page << Introduction;
    for (std::size_t group = 0; group < std::size(FileTypeGroupNames); ++group) {
        WriteGroup(page, group);
    }
    WriteChecks(page);
    WriteFixtures(page);
    return page.str();
}

TEST(FileTypesPage, SaysWhatTheScannersSay) {
    const std::string path = SALVOR_SAMPLES_DIR "/../docs/file-types.md";
    const std::string page = Page();
    if (std::getenv("SALVOR_UPDATE_DOCS") != nullptr) {
        std::ofstream(path, std::ios::binary) << page;
    }
    std::ifstream file(path, std::ios::binary);
    const std::string current{std::istreambuf_iterator<char>(file), {}};
    EXPECT_TRUE(current == page) << "docs/file-types.md is stale: run SALVOR_UPDATE_DOCS=1 ./test";
}

}  // namespace
