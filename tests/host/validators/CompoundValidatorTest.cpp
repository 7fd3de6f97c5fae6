#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "frame/contract/FileTypeCatalog.h"
#include "tests/host/validators/TestPlace.h"
#include "tests/support/Numbers.h"

namespace salvor {

namespace {

using namespace std::string_literals;
using ::test::Bytes;
using ::test::PutNumber;

constexpr std::uint32_t EndOfChain = 0xFFFFFFFE;
constexpr std::uint32_t Free = 0xFFFFFFFF;

struct Stream {
    std::string name;
    Bytes content;
    // Storages hold the streams that follow, up to the next node of level 0.
    bool isStorage = false;
    int level = 0;
};

// Sectors in this order: FAT, directory, mini FAT, mini stream, long streams; each takes as many as it needs.
class Compound {
public:
    explicit Compound(const std::vector<Stream>& streams, unsigned shift = 9) : sector_(std::size_t{1} << shift) {
        nodes_.assign(RoundUp((streams.size() + 1) * 128), 0);
        Bytes mini;
        std::vector<std::uint32_t> miniFat;
        fat_.push_back(0xFFFFFFFD);
        const std::uint32_t directory = Chain(nodes_.size());
        const std::uint32_t miniFatSector = Chain(1);
        for (std::size_t i = 0; i < streams.size(); ++i) {
            const Bytes& content = streams[i].content;
            std::uint32_t start = EndOfChain;
            if (!content.empty() && content.size() < 4096) {
                start = static_cast<std::uint32_t>(miniFat.size());
                mini.insert(mini.end(), content.begin(), content.end());
                mini.resize((mini.size() + 63) / 64 * 64);
                while (miniFat.size() + 1 < mini.size() / 64) {
                    miniFat.push_back(static_cast<std::uint32_t>(miniFat.size() + 1));
                }
                miniFat.push_back(EndOfChain);
            } else if (!content.empty()) {
                start = Chain(content.size());
                data_.emplace_back(start, content);
            }
            Node(i + 1, streams[i].name, streams[i].isStorage ? 1 : 2, start, content.size());
        }
        const std::uint32_t miniStart = mini.empty() ? EndOfChain : Chain(mini.size());
        Node(0, "Root Entry", 5, miniStart, mini.size());
        Link(streams);
        data_.emplace_back(miniStart, mini);
        data_.emplace_back(directory, nodes_);
        Bytes table;
        for (const std::uint32_t word : miniFat) {
            PutNumber(table, table.size(), word, 4);
        }
        table.resize(sector_, 0xFF);
        data_.emplace_back(miniFatSector, table);
        Write(shift, directory, miniFatSector);
    }

    Bytes file;
    // Offset of a word of the FAT.
    std::size_t FatWord(std::size_t sector) const { return sector_ + sector * 4; }

private:
    std::size_t RoundUp(std::size_t bytes) const { return (bytes + sector_ - 1) / sector_ * sector_; }

    std::uint32_t Chain(std::size_t bytes) {
        const auto first = static_cast<std::uint32_t>(fat_.size());
        for (std::size_t at = sector_; at < RoundUp(bytes); at += sector_) {
            fat_.push_back(static_cast<std::uint32_t>(fat_.size() + 1));
        }
        fat_.push_back(EndOfChain);
        return first;
    }

    void Node(std::size_t number, const std::string& name, unsigned kind, std::uint32_t start, std::size_t size) {
        const std::size_t at = number * 128;
        for (std::size_t i = 0; i < name.size(); ++i) {
            nodes_[at + 2 * i] = static_cast<std::uint8_t>(name[i]);
        }
        PutNumber(nodes_, at + 64, 2 * name.size() + 2, 2);
        nodes_[at + 66] = static_cast<std::uint8_t>(kind);
        for (const std::size_t link : {68U, 72U, 76U}) {
            PutNumber(nodes_, at + link, Free, 4);
        }
        PutNumber(nodes_, at + 116, start, 4);
        PutNumber(nodes_, at + 120, size, 4);
    }

    // Siblings are linked to the right in one row; a storage's first member is its child.
    void Link(const std::vector<Stream>& streams) {
        std::size_t last[2] = {0, 0};
        std::size_t storage = 0;
        for (std::size_t i = 1; i <= streams.size(); ++i) {
            const auto level = static_cast<std::size_t>(streams[i - 1].level);
            const std::size_t parent = level == 0 ? 0 : storage;
            const std::size_t place = last[level] == 0 ? parent * 128 + 76 : last[level] * 128 + 72;
            PutNumber(nodes_, place, i, 4);
            last[level] = i;
            if (streams[i - 1].isStorage) {
                storage = i;
                last[1] = 0;
            }
        }
    }

    void Write(unsigned shift, std::uint32_t directory, std::uint32_t miniFat) {
        file.assign((fat_.size() + 1) * sector_, 0);
        PutNumber(file, 0, 0xE11AB1A1E011CFD0, 8);
        const std::pair<std::size_t, std::uint32_t> words[] = {{24, 0x3E | (shift == 12 ? 4U : 3U) << 16U},
                                                               {28, 0xFFFE | shift << 16U},
                                                               {32, 6},
                                                               {44, 1},
                                                               {48, directory},
                                                               {56, 4096},
                                                               {60, miniFat},
                                                               {64, 1},
                                                               {68, EndOfChain},
                                                               {76, 0}};
        for (const auto& [at, word] : words) {
            PutNumber(file, at, word, 4);
        }
        for (std::size_t at = 80; at < 512; at += 4) {
            PutNumber(file, at, Free, 4);
        }
        fat_.resize(sector_ / 4, Free);
        for (std::size_t i = 0; i < fat_.size(); ++i) {
            PutNumber(file, FatWord(i), fat_[i], 4);
        }
        for (const auto& [start, content] : data_) {
            if (!content.empty()) {
                std::copy(content.begin(), content.end(),
                          file.begin() + static_cast<std::ptrdiff_t>((start + 1) * sector_));
            }
        }
    }

    std::size_t sector_;
    std::vector<std::uint32_t> fat_;
    Bytes nodes_;
    std::vector<std::pair<std::uint32_t, Bytes>> data_;
};

// A workbook's records: one part, padded with a record of the given length.
Bytes Book(std::size_t filler) {
    Bytes book;
    const auto record = [&book](std::uint32_t type, std::size_t length) {
        PutNumber(book, book.size(), type | static_cast<std::uint32_t>(length) << 16U, 4);
        book.resize(book.size() + length, 0x11);
    };
    record(0x0809, 16);
    for (; filler > 0; --filler) {
        record(0x00FC, 1000);
    }
    record(0x000A, 0);
    return book;
}

struct KindCase {
    const char* what;
    std::vector<Stream> streams;
    std::int32_t type;
    const char* extension = "";
};

const KindCase KindCases[] = {
    {"a workbook", {{"Workbook", Book(8)}}, FileTypeIndex::Xls},
    {"a short workbook", {{"Workbook", Book(1)}}, FileTypeIndex::Xls},
    {"a workbook of another maker", {{"Workbook", Book(8)}, {"ETExtData", Bytes(10)}}, FileTypeIndex::Et},
    {"a message with a workbook inside",
     {{"__properties_version1.0", Bytes(32)}, {"__nameid_version1.0", {}, true}, {"Workbook", Book(2), false, 1}},
     FileTypeIndex::Msg},
    {"a plan", {{"Props9", Bytes(100)}, {"   19", {}, true}, {"Var", Bytes(5000), false, 1}}, FileTypeIndex::Mpp},
    {"a film", {{"Contents", Bytes(900)}, {"Page 1", Bytes(900)}}, FileTypeIndex::Fla},
    {"streams of nobody", {{"Anything", Bytes(5000)}}, FileTypeIndex::Doc, "ole"},
};

TEST(CompoundValidatorTest, FilesEndWithTheirTableAndAreNamedByTheRoot) {
    for (const KindCase& each : KindCases) {
        for (const unsigned shift : {9U, 12U}) {
            const Compound compound(each.streams, shift);
            const Finding finding = test::FindingOf("compound", compound.file, test::Pattern(9000));
            EXPECT_EQ(VerdictName(finding.verdict), "whole"s) << each.what << ": " << finding.why;
            EXPECT_EQ(finding.size, std::ssize(compound.file)) << each.what;
            EXPECT_EQ(finding.type, each.type) << each.what;
            EXPECT_EQ(finding.extension, each.extension) << each.what;
        }
    }
}

TEST(CompoundValidatorTest, DamageIsSeen) {
    const Compound compound({{"Workbook", Book(20)}, {"Other", Bytes(5000)}});
    const auto verdictWith = [&](std::size_t at, std::uint64_t value, std::size_t width) {
        Bytes file = compound.file;
        PutNumber(file, at, value, width);
        const Finding finding = test::FindingOf("compound", file, Bytes(9000));
        EXPECT_LE(finding.size, std::ssize(file) + 9000);
        return finding.verdict;
    };
    // The FAT: a chain in a circle, one that ends too early, one that leads out of the file, two that meet.
    EXPECT_EQ(verdictWith(compound.FatWord(10), 9, 4), Verdict::Damaged);
    EXPECT_EQ(verdictWith(compound.FatWord(10), EndOfChain, 4), Verdict::Damaged);
    EXPECT_EQ(verdictWith(compound.FatWord(10), 100, 4), Verdict::Damaged);
    EXPECT_EQ(verdictWith(compound.FatWord(10), compound.file.size() / 512 - 3, 4), Verdict::Damaged);
    // The tables' places in the header.
    EXPECT_NE(verdictWith(48, 0x12345678, 4), Verdict::Whole);
    EXPECT_NE(verdictWith(76, 0x12345678, 4), Verdict::Whole);
    EXPECT_NE(verdictWith(44, 0xFFFFFFFF, 4), Verdict::Whole);
    // A record's header in the workbook, which begins in sector 3.
    EXPECT_EQ(verdictWith(4 * 512 + 20 + 1004 + 2, 0xFFFF, 2), Verdict::Damaged);
    const Bytes half(compound.file.begin(), compound.file.begin() + 8192);
    EXPECT_EQ(test::FindingOf("compound", half).verdict, Verdict::Truncated);
    EXPECT_EQ(test::FindingOf("compound", Bytes(half.begin(), half.begin() + 512), test::Pattern(9000)).verdict,
              Verdict::NoFile);
}

}  // namespace

}  // namespace salvor
