#include "host/volumes/original_names.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>

namespace salvor {

namespace {

std::vector<std::string> PathsOf(const std::vector<std::string>& paths) {
    std::vector<KnownFile> files;
    for (const std::string& path : paths) {
        KnownFile file;
        file.volume = 1;
        file.path = path;
        file.size = 1;
        file.extents = {{static_cast<std::int64_t>(files.size()), 1}};
        files.push_back(file);
    }
    return OriginalPaths(KnownFiles(std::move(files), {}, 512));
}

TEST(OriginalNames, AreThoseOfTheFileSystemMadeHarmless) {
    EXPECT_EQ(
        PathsOf({"DCIM/100/IMG_0001.JPG", "", "../../etc/passwd", "/abs", "a/./b", "x:y|z", "con.txt", "Aux",
                 "trailing. ", "cut.part", "\xC3\xA4\xFF.txt", "A", "a", "a/b.c", "A/B.c"}),
        (std::vector<std::string>{"original/DCIM/100/IMG_0001.JPG", "", "original/.._/.._/etc/passwd", "original/abs",
                                  "original/a/._/b", "original/x_y_z", "original/_con.txt", "original/_Aux",
                                  "original/trailing. _", "original/cut.part_", "original/\xC3\xA4_.txt",
                                  "original/A-2", "original/a-3", "original/a/b.c", "original/a/B-2.c"}));
}

TEST(OriginalNames, OfAnyBytesStayBelowTheFolderAndApart) {
    std::vector<std::string> paths{std::string(3000, 'x'), std::string(3000, 'x'),
                                   "d/" + std::string(3000, 'y') + ".jpeg"};
    std::string deep;
    for (int i = 0; i < 2000; ++i) {
        deep += "dd/";
    }
    paths.push_back(deep + "f");
    for (int byte = 1; byte < 256; ++byte) {
        for (const char* form : {"", "n", "/"}) {
            paths.push_back(form + std::string(1, static_cast<char>(byte)));
        }
    }
    std::set<std::string> seen;
    for (const std::string& path : PathsOf(paths)) {
        if (path.empty()) {
            continue;
        }
        EXPECT_TRUE(seen.insert(path).second) << path;
        EXPECT_LT(path.size(), 3000U);
        const std::filesystem::path parts(path);
        EXPECT_EQ(parts, parts.lexically_normal());
        EXPECT_EQ(*parts.begin(), "original");
        for (const auto& part : parts) {
            EXPECT_LE(part.string().size(), 240U);
            EXPECT_TRUE(std::ranges::none_of(part.string(), [](char c) { return c >= 0 && (c < 0x20 || c == 0x7F); }));
        }
    }
}

}  // namespace

}  // namespace salvor
