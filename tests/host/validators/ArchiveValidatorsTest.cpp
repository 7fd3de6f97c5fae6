#include <gtest/gtest.h>

#include "host/validators/crc32.h"
#include "tests/host/validators/TestPlace.h"
#include "tests/support/Numbers.h"

namespace salvor {

namespace {

using namespace std::string_literals;
using ::test::Bytes;
using ::test::BytesOf;
using ::test::Join;
using ::test::Little;
using ::test::PutNumber;

const Bytes Content = test::Pattern(5000, 4);

// A block of version 4: the checksum, and what it covers.
Bytes Block4(std::uint8_t type, std::uint32_t flags, const Bytes& rest) {
    const Bytes covered = Join({{type}, Little(flags, 2), Little(rest.size() + 7, 2), rest});
    return Join({Little(Crc32Of(covered), 2), covered});
}

Bytes File4(std::uint8_t version) {
    return Join({Block4(0x74, 0x8000,
                        Join({Little(Content.size(), 4),
                              Little(Content.size(), 4),
                              {2},
                              Little(Crc32Of(Content), 4),
                              Bytes(4),
                              {version, 0x30},
                              Little(1, 2),
                              Bytes(4),
                              BytesOf("a")})),
                 Content});
}

Bytes Rar4(std::uint8_t version, bool hasEnd) {
    return Join({BytesOf("Rar!\x1A\x07\0"s), Block4(0x73, 0, Bytes(6)), File4(version),
                 hasEnd ? Block4(0x7B, 0x4000, {}) : Bytes()});
}

Bytes Block5(const Bytes& rest) {
    const Bytes covered = Join({{static_cast<std::uint8_t>(rest.size())}, rest});
    return Join({Little(Crc32Of(covered), 4), covered});
}

// Sizes of 5,000 are 88h 27h as variable numbers.
Bytes Rar5(std::uint8_t endFlags = 0) {
    return Join({BytesOf("Rar!\x1A\x07\1\0"s), Block5({1, 0, 0}),
                 Block5(Join({{2, 2, 0x88, 0x27, 4, 0x88, 0x27, 0}, Little(Crc32Of(Content), 4), {0, 0, 1, 'a'}})),
                 Content, Block5({5, 0, endFlags})});
}

Bytes SevenZip() {
    const Bytes header = test::Pattern(40, 5);
    const Bytes start = Join({Little(Content.size(), 8), Little(header.size(), 8), Little(Crc32Of(header), 4)});
    return Join({BytesOf("7z\xBC\xAF\x27\x1C\0\4"s), Little(Crc32Of(start), 4), start, Content, header});
}

// One folder of one block without a checksum, after reserved bytes of every kind; signed.
Bytes Cabinet(std::size_t signatureBytes) {
    constexpr std::size_t fixed = 36;
    constexpr std::size_t reserve = 20;
    const std::size_t firstFile = fixed + 4 + reserve + 8 + 2;
    const std::size_t data = firstFile + 16 + 2;
    const std::size_t size = data + 8 + 3 + Content.size();
    return Join({BytesOf("MSCF\0\0\0\0"s),
                 Little(size, 4),
                 Bytes(4),
                 Little(firstFile, 4),
                 Bytes(4),
                 {3, 1},
                 Little(1, 2),
                 Little(1, 2),
                 Little(4, 2),
                 Bytes(4),
                 Little(reserve, 2),
                 {2, 3},
                 Bytes(4),
                 Little(size, 4),
                 Little(signatureBytes, 4),
                 Bytes(8),
                 Little(data, 4),
                 Little(1, 2),
                 Bytes(4),
                 Bytes(16),
                 BytesOf("a\0"s),
                 Bytes(4),
                 Little(Content.size(), 2),
                 Little(Content.size(), 2),
                 Bytes(3),
                 Content,
                 signatureBytes == 0 ? Bytes() : Join({{0x30, 0x82}, Bytes(signatureBytes - 2)})});
}

// A tree of one node that lists one object; segments begin at 24BCh.
Bytes Folder() {
    Bytes file = BytesOf("\xCF\xAD\x12\xFE\xC5\xFD\x74\x6F\x66\xE3\xD1\x11\x9A\x4E\x00\xC0\x4F\xA3\x09\xD4"s);
    file.resize(0x24BC + 0x20000);
    PutNumber(file, 0x7C, 0x24BC + 0x12000, 4);
    PutNumber(file, 0xE4, 0x3000, 4);
    PutNumber(file, 0x3000, 0x3000, 4);
    file[0x3011] = 1;
    PutNumber(file, 0x3018, 0x5000, 4);
    PutNumber(file, 0x5000, 0x5000, 4);
    return file;
}

// Both trees have one page; the tree of blocks lists one block.
Bytes Mailbox() {
    constexpr std::size_t block = 0x4600;
    Bytes file(0x5000);
    PutNumber(file, 0, 0x4E444221, 4);
    PutNumber(file, 8, 0x174D53, 4);
    PutNumber(file, 184, file.size(), 8);
    std::copy_n(Content.begin(), 100, file.begin() + block);
    PutNumber(file, block + 112, 100, 2);
    PutNumber(file, block + 116, PlainCrc32Of(ByteSpan(Content).first(100)), 4);
    for (const auto& [root, page, kind] : {std::tuple(224U, 0x4800U, 0x81U), std::tuple(240U, 0x4A00U, 0x80U)}) {
        PutNumber(file, root, page, 8);
        PutNumber(file, page + 8, block, 8);
        PutNumber(file, page + 16, 100, 2);
        PutNumber(file, page + 488, 1 | 20U << 8U | 24U << 16U, 4);
        PutNumber(file, page + 496, kind | kind << 8U, 2);
        PutNumber(file, page + 500, PlainCrc32Of(ByteSpan(file).subspan(page, 496)), 4);
    }
    return file;
}

struct Case {
    const char* what;
    const char* validator;
    Bytes file;
    // A byte whose change must be noticed.
    std::size_t fragile;
};

const Case Cases[] = {
    {"version 4", "rar", Rar4(29, true), 3000},
    {"version 5", "rar", Rar5(), 3000},
    {"7z", "7z", SevenZip(), 5050},
    {"a signed cabinet", "cabinet", Cabinet(300), 70 + 9},
    {"a cabinet", "cabinet", Cabinet(0), 60 + 3},
    {"a mail folder", "dbx", Folder(), 0x5000},
    {"a mailbox", "pst", Mailbox(), 0x4610},
};

TEST(ArchiveValidatorsTest, SoundFilesAreWholeAndDamagedOnesAreNot) {
    for (const Case& each : Cases) {
        for (const Bytes& behind : {Bytes(70000), test::Pattern(70000)}) {
            const Finding finding = test::FindingOf(each.validator, each.file, behind);
            EXPECT_EQ(VerdictName(finding.verdict), "whole"s) << each.what << ": " << finding.why;
            EXPECT_EQ(finding.size, std::ssize(each.file)) << each.what;
        }
        Bytes damaged = each.file;
        damaged[each.fragile] ^= 0x40U;
        EXPECT_NE(test::FindingOf(each.validator, damaged, Bytes(70000)).verdict, Verdict::Whole) << each.what;
        const Bytes half(each.file.begin(), each.file.begin() + std::ssize(each.file) / 2);
        EXPECT_EQ(VerdictName(test::FindingOf(each.validator, half).verdict), "truncated"s) << each.what;
    }
}

TEST(ArchiveValidatorsTest, OldRarsEndWithTheirLastBlock) {
    const Bytes old = Rar4(20, false);
    const Finding finding = test::FindingOf("rar", old, Bytes(9000));
    EXPECT_EQ(finding.verdict, Verdict::Open);
    EXPECT_EQ(finding.size, std::ssize(old));
    EXPECT_TRUE(finding.isCertain);
    // A file's comment is behind its name, and not in the header's checksum.
    Bytes commented = old;
    const std::size_t header = 7 + 13;
    const Bytes comment = BytesOf("a comment");
    commented.insert(commented.begin() + header + 33, comment.begin(), comment.end());
    commented[header + 3] |= 8U;
    commented[header + 5] += static_cast<std::uint8_t>(comment.size());
    const Bytes covered(commented.begin() + header + 2, commented.begin() + header + 33);
    PutNumber(commented, header, Crc32Of(covered) & 0xFFFFU, 2);
    EXPECT_EQ(test::FindingOf("rar", commented, Bytes(9000)).size, std::ssize(commented));
    // Later versions have an end block, so this one is cut.
    EXPECT_EQ(test::FindingOf("rar", Rar4(29, false), Bytes(9000)).verdict, Verdict::Damaged);
}

TEST(ArchiveValidatorsTest, VolumesAreFilledWithZeros) {
    constexpr std::size_t volume = 6 * 1024;
    Bytes file = Rar5(1);
    const Bytes end(file.end() - 8, file.end());
    file.resize(file.size() - 8);
    for (std::size_t missing = volume - 9 - 8 - file.size(); missing > 0;) {
        const std::size_t bytes = missing >= 120 ? 100 : missing;
        file = Join({file, Block5(Bytes(bytes - 5, 1))});
        missing -= bytes;
    }
    file = Join({file, end});
    EXPECT_EQ(test::FindingOf("rar", file, Bytes(9000)).size, volume);
    EXPECT_EQ(test::FindingOf("rar", file, test::Pattern(9000)).size, volume - 9);
}

}  // namespace

}  // namespace salvor
