#include "host/mount/file_tree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace salvor {
namespace {

TEST(FileTree, HoldsEveryFileUnderAHarmlessNameOfItsOwn) {
    FileTree tree;
    const std::string longest(300, 'x');
    const std::vector<std::string> names = {"DCIM/a.jpg", "DCIM/a.jpg", "/../../etc/passwd", "a\n\x1B/./b", longest,
                                            longest,      "DCIM",       "DCIM/a.jpg/under",  "\xC3\x28",    "///"};
    for (std::size_t i = 0; i < names.size(); ++i) {
        ReportedFile file;
        file.path = "jpg/f" + std::to_string(i) + ".jpg";
        file.original.path = names[i];
        tree.Add(file);
    }
    std::vector<std::size_t> seen;
    std::vector<const FileTree::Node*> open{tree.Find("/name")};
    ASSERT_NE(open.front(), nullptr);
    while (!open.empty()) {
        const FileTree::Node* const folder = open.back();
        open.pop_back();
        for (const auto& [name, index] : folder->entries) {
            EXPECT_TRUE(!name.empty() && name.size() <= 255 && name != "." && name != "..") << name;
            EXPECT_TRUE(std::ranges::none_of(name, [](unsigned char c) { return c < 32 || c == '/'; })) << name;
            if (tree.At(index).isFolder) {
                open.push_back(&tree.At(index));
            } else {
                seen.push_back(tree.At(index).file);
            }
        }
    }
    std::ranges::sort(seen);
    EXPECT_EQ(seen, (std::vector<std::size_t>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
    ASSERT_NE(tree.Find("/name/DCIM/a.jpg"), nullptr);
    EXPECT_EQ(tree.Find("/name/DCIM/a.jpg")->file, 0U);
    EXPECT_EQ(tree.Find("/type/jpg/f9.jpg")->file, 9U);
    EXPECT_EQ(tree.Find("/type/jpg/nothing"), nullptr);
}

}  // namespace
}  // namespace salvor
