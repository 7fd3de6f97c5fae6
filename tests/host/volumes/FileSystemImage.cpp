#include "tests/host/volumes/FileSystemImage.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "host/medium/extent_source.h"

namespace salvor::test {

namespace {

// What makes an image, puts a file into it and removes one.
struct Recipe {
    const char* tools;
    const char* make;
    const char* put;
    const char* remove;
};

Recipe RecipeOf(const std::string& kind) {
    constexpr const char* mcopy = "mcopy -i image $1 ::dir/$1";
    constexpr const char* mdel = "mdel -i image ::dir/$1";
    // Without its hint of what is free, a gap is filled as soon as there is one.
    constexpr const char* mdelAndForget =
        R"(mdel -i image ::dir/$1 && printf '\377\377\377\377' | dd of=image bs=1 seek=1004 conv=notrunc)";
    constexpr const char* write = R"(debugfs -w -R "write $1 dir/$1" image)";
    constexpr const char* rm = R"(debugfs -w -R "rm dir/$1" image)";
    if (kind == "FAT16") {
        return {"mkfs.fat mcopy", "mkfs.fat -F 16 -s 2 -C image 12000 && mmd -i image ::dir", mcopy, mdel};
    }
    if (kind == "FAT32") {
        return {"mkfs.fat mcopy", "mkfs.fat -F 32 -s 1 -C image 36000 && mmd -i image ::dir", mcopy, mdelAndForget};
    }
    if (kind == "ext2" || kind == "ext4") {
        return {"mke2fs debugfs",
                kind == "ext2" ? "mkdir -p root/dir && mke2fs -q -t ext2 -b 1024 -d root image 8M"
                               : "mkdir -p root/dir && mke2fs -q -t ext4 -b 4096 -d root image 8M",
                write, rm};
    }
    return {"mkntfs ntfscp", "truncate -s 8M image && mkntfs -F -Q -q image", "ntfscp -q image $1 $1", "true"};
}

}  // namespace

bool RunScript(const TempFolder& folder, const std::string& script) {
    const std::string file = (folder / "script").string();
    WriteFile(file, "cd '" + folder.Path().string() + "'\nPATH=$PATH:/sbin:/usr/sbin\nset -e\n" + script);
    return std::system(("sh '" + file + "' >'" + file + ".log' 2>&1").c_str()) == 0;
}

std::string MakeFileSystem(const TempFolder& folder, const std::string& kind,
                           const std::map<std::string, Bytes>& contents) {
    const Recipe recipe = RecipeOf(kind);
    if (!RunScript(folder, fmt::format("for tool in {}; do which $tool; done", recipe.tools))) {
        return recipe.tools;
    }
    const std::pair<const char*, std::size_t> files[] = {
        {"gap1", 20000}, {"gone", 100000}, {"gap2", 20000}, {"kept", 70001}, {"pieces", 120000}};
    std::uint32_t seed = 0;
    for (const auto& [name, size] : files) {
        const auto given = contents.find(name);
        WriteFile(folder / name, given == contents.end() ? Pattern(size, ++seed) : given->second);
    }
    EXPECT_TRUE(RunScript(folder, fmt::format("put() {{ {}; }}\nremove() {{ {}; }}\n{}\nput gap1\nput gone\nput gap2\n"
                                              "put kept\nremove gap1\nremove gap2\nput pieces\nremove gone\n",
                                              recipe.put, recipe.remove, recipe.make)))
        << kind;
    return "";
}

void PutPartition(Bytes& image, std::size_t index, std::uint8_t type, std::uint32_t first, std::uint32_t count) {
    const std::size_t at = 446 + 16 * index;
    image[at + 4] = type;
    for (std::size_t i = 0; i < 4; ++i) {
        image[at + 8 + i] = static_cast<std::uint8_t>(first >> (8 * i));
        image[at + 12 + i] = static_cast<std::uint8_t>(count >> (8 * i));
    }
    image[510] = 0x55;
    image[511] = 0xAA;
}

Knowledge Learn(Medium& medium) {
    Knowledge knowledge;
    VolumeLines lines([&](const std::string& line) { EXPECT_TRUE(AddLine(line, medium, knowledge)) << line; },
                      [] { return false; });
    ReadVolumes(medium, {true, true, std::int64_t{1} << 30}, lines);
    lines.End();
    return knowledge;
}

Bytes Join(Medium& medium, const std::vector<Extent>& extents) {
    ExtentSource source(medium, extents);
    Bytes bytes(static_cast<std::size_t>(source.Size()));
    EXPECT_EQ(source.ReadAt(0, bytes.data(), bytes.size()), bytes.size());
    return bytes;
}

}  // namespace salvor::test
