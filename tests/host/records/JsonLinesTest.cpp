#include "host/records/json_lines.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

namespace salvor {
namespace {

TEST(JsonLines, AreReadAsTheyWereWritten) {
    const std::int64_t least = std::numeric_limits<std::int64_t>::min();
    const std::uint64_t most = std::numeric_limits<std::uint64_t>::max();
    const Json record{{"text", "a \"quoted\" \\ path\n\x01 \xC3\xA9"},
                      {"least", least},
                      {"most", most},
                      {"part", 0.25},
                      {"no", false},
                      {"nothing", nullptr},
                      {"list", {{{"first", 1}}, Json::array()}}};
    EXPECT_EQ(ParseJsonLine(JsonLine(record)), record);
    EXPECT_EQ(ParseJsonLine(JsonLine(record)).dump(), record.dump());
    const std::string longText(std::size_t{2} << 20U, 'x');
    for (const std::string& text : {record["text"].get<std::string>(), longText, std::string("plain")}) {
        EXPECT_EQ(JsonText(text), Json(text).dump());
        EXPECT_EQ(ParseJsonLine(JsonText(text)), text);
    }
    EXPECT_EQ(ParseJsonLine(JsonText("\xFF/name")), "\xEF\xBF\xBD/name");
}

TEST(JsonLines, AreRefusedWhenBroken) {
    for (const std::string line : {"", "{\"a\":1", "{\"a\":1}{", "{\"a\":\"\xFF\"}", "nul", "[1,]"}) {
        EXPECT_TRUE(ParseJsonLine(line).is_discarded()) << line;
    }
    EXPECT_TRUE(ParseJsonLine(std::string(100000, '[') + std::string(100000, ']')).is_discarded());
}

}  // namespace
}  // namespace salvor
