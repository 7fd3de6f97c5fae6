#include "tests/host/volumes/FileSystemImage.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "frame/bytes/Bytes.h"
#include "host/medium/extent_source.h"
#include "tests/host/Program.h"

namespace salvor::test {

namespace {

// Shell commands: make an image, put a file into it, remove one, and build the image from files put beside it.
struct Recipe {
    const char* tools;
    const char* make;
    const char* put;
    const char* remove;
    const char* finish = "true";
};

Recipe RecipeOf(const std::string& kind) {
    constexpr const char* mcopy = "mcopy -i image $1 ::dir/$1";
    constexpr const char* mdel = "mdel -i image ::dir/$1";
    // Without the hint where free clusters begin, a gap is filled as soon as there is one.
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
    constexpr const char* copy = "mkdir -p root/dir && cp $1 root/dir";
    if (kind == "exFAT") {
        return {"mkfs.exfat", "truncate -s 8M image && mkfs.exfat -c 4096 image", "true", "true"};
    }
    if (kind == "ISO9660") {
        return {"xorriso", "true", copy, "true", "xorriso -as mkisofs -quiet -J -R -o image root"};
    }
    if (kind == "HFS+") {
        // The second partition of an image of both kinds, which begins at sector 128.
        return {"xorriso", "true", copy, "true",
                "xorriso -as mkisofs -quiet -hfsplus -o hybrid root && tail -c +65537 hybrid >image"};
    }
    if (kind == "UFS1") {
        return {"makefs", "true", copy, "true", "makefs -t ffs -o version=1 -s 8m image root"};
    }
    return {"mkntfs ntfscp", "truncate -s 8M image && mkntfs -F -Q -q image", "ntfscp -q image $1 $1", "true"};
}

// No tool of the system writes to an exFAT image that is not mounted. The file is contiguous and is entered into the
// root folder and the cluster bitmap; see Microsoft's exFAT file system specification.
void PutIntoExfat(Bytes& image, const std::string& name, const Bytes& content) {
    const auto put = [&image](std::size_t at, std::uint64_t value, int bytes) {
        for (int i = 0; i < bytes; ++i) {
            image[at++] = static_cast<std::uint8_t>(value >> (8 * i));
        }
    };
    const std::size_t sector = std::size_t{1} << image[108];
    const std::size_t cluster = sector << image[109];
    const auto offsetOf = [&](std::size_t number) {
        return LoadLittle<std::uint32_t>(image, 88) * sector + (number - 2) * cluster;
    };
    std::size_t entry = offsetOf(LoadLittle<std::uint32_t>(image, 96));
    std::size_t bitmap = 0;
    for (; image[entry] != 0; entry += 32) {
        bitmap = image[entry] == 0x81 ? offsetOf(LoadLittle<std::uint32_t>(image, entry + 20)) : bitmap;
    }
    const auto isUsed = [&](std::size_t number) {
        return (image[bitmap + (number - 2) / 8] >> ((number - 2) % 8) & 1U) != 0;
    };
    std::size_t first = 2;
    while (isUsed(first)) {
        ++first;
    }
    for (std::size_t i = 0; i * cluster < content.size(); ++i) {
        image[bitmap + (first + i - 2) / 8] |= static_cast<std::uint8_t>(1U << ((first + i - 2) % 8));
    }
    std::ranges::copy(content, image.begin() + static_cast<std::ptrdiff_t>(offsetOf(first)));
    put(entry, 0x0285, 2);           // a file with two more entries
    put(entry + 12, 0x5A210000, 4);  // on the first of January 2025
    put(entry + 32, 0x03C0, 2);      // without a chain of clusters
    put(entry + 35, name.size(), 1);
    put(entry + 40, content.size(), 8);
    put(entry + 52, first, 4);
    put(entry + 56, content.size(), 8);
    put(entry + 64, 0xC1, 2);
    for (std::size_t i = 0; i < name.size(); ++i) {
        put(entry + 66 + 2 * i, static_cast<std::uint8_t>(name[i]), 2);
    }
}

}  // namespace

bool RunScript(const TempFolder& folder, const std::string& script) {
    const std::filesystem::path file = folder / "script";
    WriteFile(file, "cd " + Quoted(folder.Path()) + "\nPATH=$PATH:/sbin:/usr/sbin\nset -e\n" + script);
    return RunShell("sh " + Quoted(file) + " >" + Quoted(folder / "script.log") + " 2>&1") == 0;
}

std::string MakeFileSystem(const TempFolder& folder, const std::string& kind,
                           const std::map<std::string, Bytes>& contents, const std::string& then) {
    const Recipe recipe = RecipeOf(kind);
    if (!RunScript(folder, fmt::format("for tool in {}; do which $tool; done", recipe.tools))) {
        return recipe.tools;
    }
    const std::pair<const char*, std::size_t> files[] = {
        {"gap1", 20000}, {"gone", 100000}, {"gap2", 20000}, {"kept", 70001}, {"pieces", 120000}};
    std::uint32_t seed = 0;
    for (const auto& [name, size] : files) {
        WriteFile(folder / name, Pattern(size, ++seed));
    }
    for (const auto& [name, bytes] : contents) {
        WriteFile(folder / name, bytes);
    }
    EXPECT_TRUE(RunScript(folder, fmt::format("put() {{ {}; }}\nremove() {{ {}; }}\n{}\nput gap1\nput gone\nput gap2\n"
                                              "put kept\nremove gap1\nremove gap2\nput pieces\nremove gone\n{}\n{}\n",
                                              recipe.put, recipe.remove, recipe.make, then, recipe.finish)))
        << kind;
    if (kind == "exFAT") {
        Bytes image = ReadFile(folder / "image");
        for (const auto& [name, size] : files) {
            PutIntoExfat(image, name, ReadFile(folder / name));
        }
        WriteFile(folder / "image", image);
    }
    return "";
}

Bytes SoundWithSilence() {
    Bytes sound(90000);
    const std::string head(
        "RIFF\x88\x5F\1\0WAVEfmt \x10\0\0\0\1\0\1\0\x44\xAC\0\0\x88\x58\1\0\2\0\x10\0data\x64\x5F\1\0", 44);
    std::ranges::copy(head, sound.begin());
    std::ranges::copy(Pattern(9000), sound.begin() + 44);
    std::ranges::copy(Pattern(9000), sound.begin() + 50000);
    return sound;
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
