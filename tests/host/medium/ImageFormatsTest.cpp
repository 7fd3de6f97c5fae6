#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>
#include <map>
#include <set>

#include "host/medium/ewf_image.h"
#include "host/medium/open_image.h"
#include "host/medium/part_names.h"
#include "host/say/failure.h"
#include "tests/host/Program.h"

namespace salvor {

namespace {

using namespace test;

// How one of the system's programs makes an image of `m.raw`, in its folder.
struct Making {
    ImageFormat format;
    std::string first;
    std::string command;
};

const std::vector<Making> Makings{
    {ImageFormat::Split, "s.001", "split -a 3 --numeric-suffixes=1 -b 2000001 m.raw s."},
    {ImageFormat::Split, "l.aa", "split -b 1M m.raw l."},
    {ImageFormat::Ewf, "e.E01", "ewfacquire -q -u -c none -S 1MiB -t e m.raw"},
    {ImageFormat::Ewf, "c.E01", "ewfacquire -q -u -c fast -f encase5 -b 16 -t c m.raw"},
    {ImageFormat::Aff, "a.aff", "affconvert -q -s 64k -o a.aff m.raw"},
    {ImageFormat::Vmdk, "v.vmdk", "qemu-img convert -O vmdk m.raw v.vmdk"},
    {ImageFormat::Vmdk, "f.vmdk", "qemu-img convert -O vmdk -o subformat=monolithicFlat m.raw f.vmdk"},
    {ImageFormat::Vmdk, "o.vmdk", "qemu-img convert -O vmdk -o subformat=streamOptimized m.raw o.vmdk"},
    {ImageFormat::Vhd, "d.vhd", "qemu-img convert -O vpc -o force_size=on m.raw d.vhd"},
    {ImageFormat::Vhd, "f.vhd", "qemu-img convert -O vpc -o subformat=fixed,force_size=on m.raw f.vhd"},
    {ImageFormat::Qcow2, "q.qcow2", "qemu-img convert -O qcow2 m.raw q.qcow2"},
    {ImageFormat::Qcow2, "p.qcow2", "qemu-img convert -c -O qcow2 -o cluster_size=512 m.raw p.qcow2"},
    {ImageFormat::Qcow2, "2.qcow2", "qemu-img convert -c -O qcow2 -o compat=0.10,cluster_size=2M m.raw 2.qcow2"},
    {ImageFormat::Vhdx, "x.vhdx", "qemu-img convert -O vhdx m.raw x.vhdx"},
};

bool IsInstalled(const std::string& command) {
    const std::string program = command.substr(0, command.find(' '));
    return RunShell("command -v " + program + " >/dev/null") == 0;
}

class ImageFormats : public ::testing::Test {
protected:
    // Noise, the sample card, a stretch of zeros and noise again.
    ImageFormats() : raw_(Pattern(100 * 512)) {
        const Bytes card = ReadFile(std::filesystem::path(SALVOR_SAMPLES_DIR) / "card.img");
        raw_.insert(raw_.end(), card.begin(), card.end());
        raw_.resize(raw_.size() + 3000 * 512);
        const Bytes noise = Pattern(999 * 512, 2);
        raw_.insert(raw_.end(), noise.begin(), noise.end());
        WriteFile(folder_ / "m.raw", raw_);
    }

    // False, with a message, if the program needed is missing.
    bool Make(const std::string& command) {
        if (!IsInstalled(command)) {
            std::cout << "skipped, since the program is missing: " << command << '\n';
            return false;
        }
        const std::string in = "cd " + Quoted(folder_.Path()) + " && ";
        EXPECT_EQ(RunShell(in + command + " </dev/null >log 2>&1"), 0) << command;
        return true;
    }

    std::string Path(const std::string& name) const { return (folder_ / name).string(); }
    std::unique_ptr<MediumSource> Open(const std::string& name) const { return OpenImage({Path(name)}); }

    // The reason why it cannot be opened; empty if it can.
    std::string WhyNot(const std::string& name) const {
        try {
            Open(name);
            return "";
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.Status(), ExitStatus::NotStarted);
            return failure.what();
        }
    }

    TempFolder folder_;
    Bytes raw_;
};

// All bytes, in pieces that follow no grid; areas that need not be read stay zeros.
Bytes ReadAll(MediumSource& source) {
    constexpr std::int64_t piece = 700001;
    Bytes bytes(static_cast<std::size_t>(source.Size()));
    for (ByteRange data = source.NextData(0); data.count > 0;) {
        const auto length = static_cast<std::size_t>(std::min(data.count, piece));
        if (source.ReadAt(data.first, bytes.data() + data.first, length) != length) {
            ADD_FAILURE() << "nothing to read at " << data.first;
            break;
        }
        data = source.NextData(data.first + static_cast<std::int64_t>(length));
    }
    return bytes;
}

TEST_F(ImageFormats, GiveTheSameBytesAsTheRawImage) {
    for (const Making& making : Makings) {
        SCOPED_TRACE(making.command);
        if (Make(making.command)) {
            const auto source = Open(making.first);
            EXPECT_EQ(source->Format(), making.format);
            EXPECT_TRUE(ReadAll(*source) == raw_);
        }
    }
}

// Bytes at both ends of 64 MiB, in formats that store only what was written.
TEST_F(ImageFormats, ThatKnowZerosDoNotReadThem) {
    constexpr std::size_t size = std::size_t{64} << 20U;
    Bytes sparse(size);
    std::ranges::copy(Pattern(100000), sparse.begin());
    std::ranges::copy(Pattern(5000, 2), sparse.end() - 5000);
    WriteFile(folder_ / "m.raw", sparse);
    for (const Making& making : Makings) {
        SCOPED_TRACE(making.command);
        const bool keepsAll = making.command.find("lat") != std::string::npos || making.first == "f.vhd";
        const bool knows = making.format == ImageFormat::Aff || making.command.starts_with("qemu-img");
        if (knows && !keepsAll && Make(making.command)) {
            const auto source = Open(making.first);
            std::int64_t stored = 0;
            for (ByteRange data = source->NextData(0); data.count > 0;) {
                stored += data.count;
                data = source->NextData(data.first + data.count);
            }
            EXPECT_LT(stored, std::int64_t{40} << 20);
            EXPECT_TRUE(ReadAll(*source) == sparse);
        }
    }
}

// A damaged head must make the image refused, or its reads must end.
TEST_F(ImageFormats, WithDamagedHeadsAreReadInBounds) {
    std::uint32_t seed = 7;
    for (const Making& making : Makings) {
        SCOPED_TRACE(making.command);
        if (making.format == ImageFormat::Split || !Make(making.command)) {
            continue;
        }
        const Bytes sound = ReadFile(folder_ / making.first);
        for (int round = 0; round < 4; ++round) {
            Bytes damaged = sound;
            const Bytes numbers = Pattern(24, ++seed);
            for (std::size_t i = 0; i + 3 <= numbers.size(); i += 3) {
                // The size of the formats' heads, or of their regions and tables too.
                const std::size_t range = std::min(damaged.size(), std::size_t{1} << (round % 2 == 0 ? 11U : 21U));
                damaged[(numbers[i] * 8192U + numbers[i + 1] * 32U + numbers[i + 2]) % range] = numbers[i + 2];
            }
            WriteFile(folder_ / making.first, damaged);
            const std::string path = Quoted(Path(making.first));
            // A page that cannot be unpacked is tried sector by sector, which takes seconds under the sanitizers.
            const int status =
                RunProgram("scan " + path + " --quiet --types png --report " + Quoted(Path("finds")), "timeout 120")
                    .status;
            EXPECT_TRUE(status == 0 || status == 1 || status == 3) << status << " in round " << round;
            std::filesystem::remove(folder_ / "finds");
        }
        WriteFile(folder_ / making.first, sound);
    }
}

TEST_F(ImageFormats, GiveTheSameFilesAsTheRawImage) {
    const auto recovered = [&](const std::string& name) {
        const std::string out = Path("out-" + name);
        EXPECT_EQ(RunProgram("recover " + Quoted(Path(name)) + " --quiet --out " + Quoted(out)).status, 0) << name;
        std::map<std::string, std::string> files;
        for (const auto& record : ReadLines(out + "/report.jsonl")) {
            if (record.at("record") == "file") {
                files[record.at("path")] = record.at("sha256");
            }
        }
        return files;
    };
    const auto expected = recovered("m.raw");
    EXPECT_GT(expected.size(), 20U);
    // One of each format.
    std::set<ImageFormat> seen;
    for (const Making& making : Makings) {
        if (seen.insert(making.format).second && Make(making.command)) {
            EXPECT_EQ(recovered(making.first), expected) << making.command;
        }
    }
}

TEST_F(ImageFormats, OfCutSegmentsLoseWhatIsMissing) {
    if (!Make("ewfacquire -q -u -c none -S 1MiB -t e m.raw")) {
        GTEST_SKIP() << "ewfacquire makes the images";
    }
    const auto unlike = [&] {
        const auto medium = OpenMedium({Path("e.E01")}, 512, {});
        Bytes bytes(raw_.size());
        medium->Read(0, bytes.data(), medium->SectorCount());
        std::int64_t others = 0;
        for (std::int64_t i = 0; i < medium->SectorCount(); ++i) {
            const auto at = static_cast<std::ptrdiff_t>(i * 512);
            const bool isSame = std::equal(bytes.begin() + at, bytes.begin() + at + 512, raw_.begin() + at);
            others += isSame || medium->HoldsUnreadable({i, 1}) ? 0 : 1;
        }
        return std::pair(medium->Unreadable().SectorCount(), others);
    };
    const Bytes third = ReadFile(folder_ / "e.E03");
    std::filesystem::rename(folder_ / "e.E04", folder_ / "kept");
    const auto [unreadable, others] = unlike();
    EXPECT_GT(unreadable, 1000);
    EXPECT_EQ(others, 0);
    const auto missing = [&] {
        return ReadEwfFacts(Open("e.E01")->Files()).missing;
    };
    EXPECT_EQ(missing(), "the segments after '" + Path("e.E03") + "'");
    // One that ends early, one with a wrong byte, and two that were swapped.
    std::filesystem::rename(folder_ / "kept", folder_ / "e.E04");
    WriteFile(folder_ / "e.E03", Bytes(third.begin(), third.begin() + 300000));
    EXPECT_GT(unlike().first, 0);
    EXPECT_EQ(unlike().second, 0);
    EXPECT_EQ(missing(), "the end of '" + Path("e.E03") + "'");
    Bytes wrong = third;
    ++wrong[500000];
    WriteFile(folder_ / "e.E03", wrong);
    EXPECT_EQ(unlike(), std::pair(std::int64_t{64}, std::int64_t{0}));
    std::filesystem::rename(folder_ / "e.E04", folder_ / "e.E03");
    WriteFile(folder_ / "e.E04", third);
    EXPECT_NE(WhyNot("e.E01").find("is segment 4"), std::string::npos);
}

TEST_F(ImageFormats, AreVerifiedByTheDigestsThatTheyKeep) {
    const std::string path = Quoted(Path("v.E01"));
    EXPECT_EQ(RunProgram("info --verify " + Quoted(Path("m.raw"))).status, 2);
    if (!Make("ewfacquire -q -u -c none -d sha1 -t v m.raw")) {
        GTEST_SKIP() << "ewfacquire makes the images";
    }
    const ProgramRun right = RunProgram("info --verify --quiet " + path);
    EXPECT_EQ(right.status, 0);
    EXPECT_NE(right.output.find("SHA-1            is that of the medium's bytes"), std::string::npos) << right.output;
    Bytes image = ReadFile(folder_ / "v.E01");
    ++image[700000];
    WriteFile(folder_ / "v.E01", image);
    const ProgramRun wrong = RunProgram("info --verify --quiet " + path);
    EXPECT_EQ(wrong.status, 1);
    EXPECT_NE(wrong.output.find("MD5              differs"), std::string::npos) << wrong.output;
}

TEST_F(ImageFormats, ThatCannotBeReadNameAWayOut) {
    for (const auto& [name, command, remedy] : std::vector<std::array<std::string, 3>>{
             {"i.vdi", "qemu-img convert -O vdi m.raw i.vdi", "qemu-img convert"},
             {"b.vmdk", "qemu-img create -f vmdk -b v.vmdk -F vmdk b.vmdk", "qemu-img convert"},
             {"k.aff", "affconvert -V; AFFLIB_PASSPHRASE=x affconvert -q -o k.aff m.raw", "affcrypto -d"},
             {"k.afm", "affconvert -q -a .afm -o k.afm m.raw", "affconvert -r"},
             {"m.raw.gz", "gzip -k m.raw", "gunzip"}}) {
        SCOPED_TRACE(command);
        if (Make("qemu-img convert -O vmdk m.raw v.vmdk") && Make(command)) {
            EXPECT_NE(WhyNot(name).find(remedy), std::string::npos) << WhyNot(name);
            EXPECT_EQ(OpenImage({Path(name), ImageFormat::Raw})->Format(), ImageFormat::Raw);
        }
    }
}

// Clusters that are marked as zeros keep their old bytes in the file.
TEST_F(ImageFormats, OfDifferencesReadWhatLiesBelow) {
    if (!Make("qemu-img convert -O qcow2 m.raw b.qcow2") ||
        !Make("qemu-img create -f qcow2 -b b.qcow2 -F qcow2 t.qcow2 9M") ||
        !Make("qemu-io -c 'write -P 7 100k 200k' -c 'write -z 64k 128k' -c 'write -P 9 8M 4k' t.qcow2")) {
        GTEST_SKIP() << "qemu-img makes the images";
    }
    Bytes expected = raw_;
    expected.resize(std::size_t{9} << 20U);
    std::fill_n(expected.begin() + 100 * 1024, 200 * 1024, std::uint8_t{7});
    std::fill_n(expected.begin() + 64 * 1024, 128 * 1024, std::uint8_t{0});
    std::fill_n(expected.begin() + (8 << 20), 4 * 1024, std::uint8_t{9});
    EXPECT_TRUE(ReadAll(*Open("t.qcow2")) == expected);
    EXPECT_EQ(Open("t.qcow2")->Files().size(), 2U);

    std::filesystem::create_directory(folder_ / "away");
    std::filesystem::rename(folder_ / "b.qcow2", folder_ / "away/b.qcow2");
    EXPECT_NE(WhyNot("t.qcow2").find("qemu-img convert"), std::string::npos);
    ASSERT_TRUE(Make("qemu-img rebase -u -b t.qcow2 -F qcow2 t.qcow2"));
    EXPECT_NE(WhyNot("t.qcow2").find("below each other"), std::string::npos);
}

TEST_F(ImageFormats, SplitImagesWithoutAPartAreRefused) {
    for (const std::string name : {"p.001", "p.002", "p.003"}) {
        WriteFile(folder_ / name, Pattern(1000));
    }
    EXPECT_EQ(Open("p.001")->Size(), 3000);
    EXPECT_NE(WhyNot("p.002").find("p.001'"), std::string::npos);
    std::filesystem::rename(folder_ / "p.002", folder_ / "p.004");
    // A number alone does not make a part.
    EXPECT_EQ(Open("p.001")->Format(), ImageFormat::Raw);
    std::filesystem::rename(folder_ / "p.003", folder_ / "p.002");
    EXPECT_NE(WhyNot("p.001").find("p.003' is missing"), std::string::npos);
    EXPECT_EQ(OpenImage({Path("p.001"), ImageFormat::Raw})->Size(), 1000);
}

TEST(PartNames, CountAsProgramsThatSplitDo) {
    using Names = std::vector<std::string>;
    for (const auto& [name, next] : std::vector<std::pair<std::string, Names>>{{"a.000", {"a.001"}},
                                                                               {"a.b.099", {"a.b.100"}},
                                                                               {"a.999", {"a.1000"}},
                                                                               {"a.aa", {"a.ab"}},
                                                                               {"a.AZ", {"a.BA"}},
                                                                               {"a.yz", {"a.za", "a.zaaa"}},
                                                                               {"a.zyzz", {"a.zzaa", "a.zzaaaa"}},
                                                                               {"a.zz", {}},
                                                                               {"a.a", {}},
                                                                               {"a.img", {"a.imh"}},
                                                                               {"a.0x", {}},
                                                                               {".001", {}},
                                                                               {"a.", {}}}) {
        EXPECT_EQ(NextPartNames(name), next) << name;
    }
    EXPECT_EQ(FirstPartNames("a.017"), (Names{"a.000", "a.001"}));
    EXPECT_EQ(FirstPartNames("a.bc"), (Names{"a.aa"}));
}

}  // namespace

}  // namespace salvor
