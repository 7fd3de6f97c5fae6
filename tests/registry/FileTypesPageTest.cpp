#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

#include "frame/contract/FileTypeCatalog.h"
#include "frame/registry/KRawFileTypeFactory.h"
#include "tests/support/Registry.h"

// Makes docs/file-types.md from what the scanners and the fixtures say, and compares it with the page as it is.
namespace {

constexpr const char* Introduction = R"(# File types

What the scanners of the library recognise, how they know where a file ends, and what they miss. This page is generated
from the scanners' own notes and from the fixtures of the tests; `SALVOR_UPDATE_DOCS=1 ./test` writes it anew.

Every file must begin at the start of a sector and lie in one piece. The number in front of a type is its index in the
factory.
)";

void WriteType(std::ostream& page, std::int32_t index) {
    const FileTypeIdentity& type = FileTypeCatalog[index];
    page << "\n### " << index << " " << type.extension << ": " << type.name << "\n\n";
    const FormatNotes& notes = FormatNotesOf(index);
    page << "- Found: " << notes.found << "\n- End: " << notes.end << "\n";
    if (*notes.limits != '\0') {
        page << "- Limits: " << notes.limits << "\n";
    }
    if (type.maxSize > 0) {
        page << "- Largest size reported unless the host says otherwise: " << type.maxSize << " bytes\n";
    }
    page << "- Source: " << notes.source << "\n";
}

void WriteFixtures(std::ostream& page) {
    page << "\n## Sizes of the sample files\n\n"
            "The files of `samples/fixtures`, and files made by the tests where no program writes the type (in "
            "italics), with the size that\ntheir types report. A difference is what the rule of the type gives, not "
            "an error of measurement.\n\n"
            "| File | Reported by | Its size | Reported | Difference |\n| --- | --- | ---: | ---: | ---: |\n";
    for (const test::Fixture& fixture : test::Fixtures()) {
        const test::Bytes file = fixture.Load();
        const char* const quote = fixture.build == nullptr ? "`" : "*";
        page << "| " << quote << fixture.name << quote << " |";
        for (const std::int32_t index : fixture.types) {
            page << " " << index << " " << FileTypeCatalog[index].extension;
        }
        if (fixture.types.empty()) {
            page << " nobody | " << file.size() << " | | |\n";
            continue;
        }
        const std::int64_t reported = fixture.ReportedSize(file);
        const std::int64_t difference = reported - static_cast<std::int64_t>(file.size());
        page << " | " << file.size() << " | " << reported << " | " << (difference > 0 ? "+" : "") << difference
             << " |\n";
    }
}

std::string Page() {
    std::ostringstream page;
    page << Introduction << "\n## Types\n";
    for (std::int32_t index = 0; index < FileTypeCount; ++index) {
        WriteType(page, index);
    }
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
