#include "host/report/report_format.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "tests/host/Program.h"

namespace salvor {
namespace {

using nlohmann::json;
using test::Quoted;
using test::RunShell;
using test::TempFolder;

// A file in two pieces whose names and phrases try to be something else, and one of which nothing else is known.
void WriteHostileReport(const TempFolder& folder) {
    const json type{{"index", 46}, {"name", "PNG Image"}, {"extension", "png"}};
    const json hostile{{"record", "file"},
                       {"path", "png/</filename>&\"|,\x1B[2J\r\n\xEF\xBF\xBF.png"},
                       {"type", "PNG Image"},
                       {"extension", "png"},
                       {"types", {type}},
                       {"start_sector", 8},
                       {"start_byte", 4096},
                       {"size", 1012},
                       {"reported_size", nullptr},
                       {"verdict", "damaged"},
                       {"why", "=HYPERLINK(\"http://x\";1)"},
                       {"sha256", std::string(64, 'a')},
                       {"unreadable_bytes", 512},
                       {"flags", {"unreadable sectors"}},
                       {"extents",
                        {{{"start_sector", 8}, {"bytes", 512}},
                         {{"zeros", true}, {"bytes", 300}},
                         {{"start_sector", 40}, {"bytes", 200}}}},
                       {"embedded", {{{"start_sector", 9}, {"extension", "]]>"}, {"size", 3}, {"verdict", "whole"}}}},
                       {"file_system",
                        {{"path", "@SUM(1)|2.png"},
                         {"deleted", true},
                         {"modified", "1970-01-02T00:00:00Z"},
                         {"created", "2021-02-30T00:00:00Z"}}}};
    const json plain{{"record", "file"}, {"path", "png/b.png"}, {"types", {type}},    {"start_sector", 9},
                     {"size", 1},        {"start_byte", 4608},  {"verdict", "whole"}, {"sha256", ""}};
    const json summary{{"record", "summary"}, {"ended", "complete"}, {"image", "<a> \x01.img"},
                       {"image_size", 99999}, {"sector_size", 512},  {"unreadable", {{{"first", 8}, {"count", 1}}}}};
    test::WriteFile(folder / "report.jsonl", R"({"record":"file",)" + hostile.dump().substr(1) + '\n' + plain.dump() +
                                                 '\n' + R"({"record":"summary",)" + summary.dump().substr(1) + '\n');
}

std::map<std::string, std::string> EveryFormat(const TempFolder& folder) {
    const Folder opened = OpenReportFolder(folder.Path().string());
    std::map<std::string, std::string> texts;
    for (const ReportFormat& format : ReportFormats()) {
        ReportReader reader(opened);
        format.write(reader, [&](const std::string& text) { texts[std::string(format.name)] += text; });
    }
    return texts;
}

TEST(ReportFormat, HostileNamesStayTextInEveryFormat) {
    const TempFolder folder;
    WriteHostileReport(folder);
    std::map<std::string, std::string> texts = EveryFormat(folder);

    const std::string& csv = texts["csv"];
    EXPECT_NE(csv.find("\r\n\"png/</filename>&\"\"|,\\x1b[2J\\x0d\\x0a\xEF\xBF\xBF.png\",'@SUM"), std::string::npos)
        << csv;
    EXPECT_NE(csv.find(",\"'=HYPERLINK(\"\"http://x\"\";1)\","), std::string::npos) << csv;
    EXPECT_EQ(3, std::ranges::count(csv, '\n'));

    const std::string& body = texts["bodyfile"];
    const std::string first = body.substr(0, body.find('\n'));
    EXPECT_EQ(10, std::ranges::count(first, '|')) << first;
    EXPECT_TRUE(first.ends_with("|8|r/r---------|0|0|1012|0|86400|0|0")) << first;

    const json all = json::parse(texts["json"]);
    EXPECT_EQ(2U, all["files"].size());
    EXPECT_EQ("<a> \x01.img", all["image"]);

    for (const auto& [name, text] : texts) {
        EXPECT_TRUE(std::ranges::none_of(text, [](char letter) { return letter == '\x1B' || letter == '\x01'; }))
            << name;
    }
}

TEST(ReportFormat, DfxmlKeepsToItsSchema) {
    if (RunShell("xmllint --version >/dev/null 2>&1") != 0) {
        GTEST_SKIP() << "xmllint (libxml2-utils) is not installed";
    }
    const TempFolder folder;
    WriteHostileReport(folder);
    test::WriteFile(folder / "report.dfxml", EveryFormat(folder)["dfxml"]);
    const std::string file = Quoted(folder / "report.dfxml");
    const auto finds = [&file](const std::string& path, const std::string& value) {
        const std::string test = "test \"$(xmllint --xpath \"string(" + path + ")\" " + file + ")\" = '" + value + "'";
        return RunShell(test) == 0;
    };
    EXPECT_TRUE(finds("//*[local-name()='byte_run'][2]/@fill", "0"));
    EXPECT_TRUE(finds("//*[local-name()='byte_run'][3]/@img_offset", "20480"));
    EXPECT_TRUE(finds("//*[local-name()='byte_run'][3]/@file_offset", "812"));
    EXPECT_TRUE(finds("//*[local-name()='verdict']", "damaged"));
    EXPECT_TRUE(finds("//*[local-name()='embedded']/@extension", "]]>"));
    if (!std::filesystem::exists(SALVOR_DFXML_SCHEMA)) {
        GTEST_SKIP() << "the schema is not beside the project: shared/schema/dfxml.xsd";
    }
    EXPECT_EQ(0, RunShell("xmllint --nonet --noout --schema '" SALVOR_DFXML_SCHEMA "' " + file));
}

}  // namespace
}  // namespace salvor
