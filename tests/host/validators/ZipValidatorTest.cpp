#include <gtest/gtest.h>
#include <zlib.h>

#include <functional>
#include <string>
#include <string_view>

#include "frame/contract/FileTypeCatalog.h"
#include "tests/host/Deflated.h"
#include "tests/host/validators/TestPlace.h"
#include "tests/support/Numbers.h"

namespace salvor {

namespace {

using namespace std::string_literals;
using ::test::Bytes;
using ::test::BytesOf;
using test::Deflated;
using ::test::Little;

void Add(Bytes& file, const Bytes& bytes) { file.insert(file.end(), bytes.begin(), bytes.end()); }

enum class Sizes { InHeader, Descriptor, BareDescriptor, LongDescriptor };

// Writes an archive member by member and closes it with a directory.
class Archive {
public:
    Bytes file;

    void Member(const std::string& name, const Bytes& content, bool isDeflated = false, Sizes sizes = Sizes::InHeader) {
        const Bytes data = isDeflated ? Deflated(content) : content;
        const auto crc = static_cast<std::uint32_t>(crc32(0, content.data(), static_cast<uInt>(content.size())));
        const bool isKnown = sizes == Sizes::InHeader;
        const Bytes method = Little(isDeflated ? 8U : 0U, 2);
        const Bytes flags = Little(isKnown ? 0U : 8U, 2);
        Bytes numbers = Little(crc, 4);
        Add(numbers, Little(data.size(), 4));
        Add(numbers, Little(content.size(), 4));
        Add(directory_, BytesOf("PK\1\2\x14\0\x14\0"s));
        for (const Bytes& part : {flags, method, Bytes(4), numbers, Little(name.size(), 2), Bytes(12),
                                  Little(file.size(), 4), BytesOf(name)}) {
            Add(directory_, part);
        }
        Add(file, BytesOf("PK\3\4\x14\0"s));
        for (const Bytes& part : {flags, method, Bytes(4), isKnown ? numbers : Bytes(12), Little(name.size(), 2),
                                  Bytes(2), BytesOf(name), data}) {
            Add(file, part);
        }
        Add(file, BytesOf(isKnown || sizes == Sizes::BareDescriptor ? ""s : "PK\7\10"s));
        if (sizes == Sizes::LongDescriptor) {
            numbers = Little(crc, 4);
            Add(numbers, Little(data.size(), 8));
            Add(numbers, Little(content.size(), 8));
        }
        Add(file, isKnown ? Bytes() : numbers);
        ++count_;
    }

    Bytes Closed(std::string_view comment = "", std::size_t offsetError = 0) {
        const std::size_t offset = file.size();
        Add(file, directory_);
        Add(file, BytesOf("PK\5\6\0\0\0\0"s));
        for (const Bytes& part : {Little(count_, 2), Little(count_, 2), Little(directory_.size(), 4),
                                  Little(offset + offsetError, 4), Little(comment.size(), 2), BytesOf(comment)}) {
            Add(file, part);
        }
        return file;
    }

private:
    Bytes directory_;
    std::size_t count_ = 0;
};

const Bytes Text = test::Pattern(3000, 7);

Bytes Plain(std::string_view comment = "") {
    Archive archive;
    archive.Member("a.txt", Text, true);
    archive.Member("b.bin", Text);
    return archive.Closed(comment);
}

struct WholeCase {
    const char* what;
    std::function<Bytes()> build;
    std::int32_t type = FileTypeIndex::Zip;
    const char* extension = "";
};

Bytes Of(std::initializer_list<std::pair<const char*, const char*>> members) {
    Archive archive;
    for (const auto& [name, content] : members) {
        archive.Member(name, BytesOf(content));
    }
    return archive.Closed();
}

const WholeCase WholeCases[] = {
    {"a comment",
     [] {
         return Plain("made by a person");
     }},
    {"no member",
     [] {
         return Archive().Closed();
     }},
    {"sizes behind the data, stored archives inside",
     [] {
         Archive archive;
         archive.Member("a", Text, true, Sizes::Descriptor);
         archive.Member("inner.zip", Plain(), false, Sizes::Descriptor);
         archive.Member("b", Text, false, Sizes::BareDescriptor);
         archive.Member("c", Text, true, Sizes::LongDescriptor);
         archive.Member("folder/", {}, false, Sizes::Descriptor);
         return archive.Closed();
     }},
    {"more members than fit into 16 bits",
     [] {
         Archive archive;
         for (int i = 0; i < 0x10001; ++i) {
             archive.Member("a", {});
         }
         Bytes file = archive.Closed();
         const std::size_t end = file.size() - 22;
         const Bytes record(file.begin() + static_cast<std::ptrdiff_t>(end), file.end());
         file.resize(end);
         for (const Bytes& part : {BytesOf("PK\6\6"), Little(44, 8), Bytes(12), Bytes(8), Little(0x10001, 8),
                                   Little(std::uint64_t{LoadLittle<std::uint32_t>(record, 12)}),
                                   Little(std::uint64_t{LoadLittle<std::uint32_t>(record, 16)}), BytesOf("PK\6\7"),
                                   Bytes(4), Little(end, 8), Bytes(4), ::test::Patched(record, 8, Bytes(12, 0xFF))}) {
             Add(file, part);
         }
         return file;
     }},
    {"a signing block",
     [] {
         Archive archive;
         archive.Member("AndroidManifest.xml", Text, true);
         Add(archive.file, Little(std::uint64_t{100 + 24}));
         Add(archive.file, test::Pattern(100));
         Add(archive.file, Little(std::uint64_t{100 + 24}));
         Add(archive.file, BytesOf("APK Sig Block 42"));
         return archive.Closed();
     },
     FileTypeIndex::Jar, "apk"},
    {"a filler without a name in a removed member's place",
     [] {
         Archive archive;
         archive.file = BytesOf("PK\3\4"s);
         archive.file.resize(30 + 102);
         archive.file[28] = 102;
         archive.Member("AndroidManifest.xml", Text, true);
         return archive.Closed();
     },
     FileTypeIndex::Jar, "apk"},
    {"one member without a name, packed from a pipe",
     [] {
         Archive archive;
         archive.Member("", Text, true, Sizes::LongDescriptor);
         return archive.Closed();
     }},
    {"two entries for one member",
     [] {
         Archive archive;
         archive.Member("a", Text);
         archive.Member("a", Text);
         Bytes file = archive.Closed();
         std::fill_n(file.end() - 22 - 47 + 42, 4, std::uint8_t{0});
         return file;
     }},
    {"padding that only the directory steps over",
     [] {
         Archive archive;
         archive.Member("a", Text, true);
         Add(archive.file, Bytes(40));
         archive.Member("b", Text, true);
         return archive.Closed();
     }},
    {"a text template",
     [] {
         return Of({{"mimetype", "application/vnd.oasis.opendocument.text-template"}});
     },
     FileTypeIndex::Odt, "ott"},
    {"more members than the directory's end can count",
     [] {
         Archive archive;
         for (int member = 0; member < 0x10001; ++member) {
             archive.Member("a", {});
         }
         return archive.Closed();
     }},
    {"a slide show",
     [] {
         return Of({{"[Content_Types].xml",
                     "application/vnd.openxmlformats-officedocument.presentationml.slideshow.main+xml"},
                    {"ppt/presentation.xml", "x"}});
     },
     FileTypeIndex::Pptx, "ppsx"},
    {"content types without an office's folder",
     [] {
         return Of({{"[Content_Types].xml", "x"}, {"word.txt", "x"}});
     }},
    {"an encrypted directory",
     [] {
         constexpr std::size_t directoryBytes = 60;
         Archive archive;
         archive.Member("1", Text);
         archive.file[7] |= 0x20U;
         const std::size_t offset = archive.file.size();
         Add(archive.file, test::Pattern(directoryBytes));
         Add(archive.file, BytesOf("PK\5\6\0\0\0\0\1\0\1\0"s));
         for (const Bytes& part : {Little(directoryBytes, 4), Little(offset, 4), Bytes(2)}) {
             Add(archive.file, part);
         }
         return archive.file;
     }},
    {"music",
     [] {
         return Of({{"META-INF/container.xml", "x"}, {"song.xml", "x"}});
     },
     FileTypeIndex::Zip, "mxl"},
    {"a book without its media type",
     [] {
         return Of({{"META-INF/container.xml", "x"}, {"book.opf", "x"}});
     },
     FileTypeIndex::Zip, "epub"},
    {"Java classes alone",
     [] {
         return Of({{"a/A.class", "x"}, {"a/B.class", "x"}});
     },
     FileTypeIndex::Jar},
    {"a Java archive",
     [] {
         return Of({{"META-INF/MANIFEST.MF", "x"}, {"A.class", "x"}});
     },
     FileTypeIndex::Jar},
};

TEST(ZipValidatorTest, ArchivesEndWhereTheyDoAndAreNamedByWhatTheyHold) {
    for (const WholeCase& each : WholeCases) {
        const Bytes file = each.build();
        for (const Bytes& behind : {Bytes(9000), test::Pattern(9000, 3), Plain()}) {
            const Finding finding = test::FindingOf("zip", file, behind);
            EXPECT_EQ(VerdictName(finding.verdict), "whole"s) << each.what << ": " << finding.why;
            EXPECT_EQ(finding.size, std::ssize(file)) << each.what;
            EXPECT_EQ(finding.type, each.type) << each.what;
            EXPECT_EQ(finding.extension, each.extension) << each.what;
        }
    }
}

TEST(ZipValidatorTest, DamageIsNeverWhole) {
    const Bytes file = Plain();
    // Some header fields say nothing about the bytes; the data of both members must be right.
    const std::size_t secondHeader = 35 + Deflated(Text).size();
    for (std::size_t at = 4; at < file.size(); at += 7) {
        Bytes damaged = file;
        damaged[at] ^= 0x55U;
        const Finding finding = test::FindingOf("zip", damaged, Bytes(9000));
        const bool isData = (at >= 35 && at < secondHeader) || (at >= secondHeader + 35 && at < file.size() - 150);
        EXPECT_TRUE(!isData || finding.verdict == Verdict::Damaged) << at << ' ' << finding.why;
        EXPECT_LE(finding.size, std::ssize(file) + 9000);
    }
    const Bytes half(file.begin(), file.begin() + 3500);
    EXPECT_EQ(test::FindingOf("zip", half).verdict, Verdict::Truncated);
    EXPECT_NE(test::FindingOf("zip", half, file).verdict, Verdict::Whole);
    // The largest 64-bit sizes.
    Bytes endless = BytesOf("PK\3\4\x2D\0\0\0\0\0"s);
    for (const Bytes& part : {Bytes(8), Bytes(8, 0xFF), Little(1, 2), Little(20, 2), BytesOf("a"), Little(1, 2),
                              Little(16, 2), Bytes(16, 0xFF), Bytes(4000)}) {
        Add(endless, part);
    }
    EXPECT_EQ(test::FindingOf("zip", endless).verdict, Verdict::Truncated);
}

TEST(ZipValidatorTest, PartsOfArchivesAreNotWhole) {
    Archive archive;
    archive.Member("a", Text);
    archive.Member("b", Text);
    EXPECT_NE(test::FindingOf("zip", archive.Closed("", 512), Bytes(9000)).verdict, Verdict::Whole);
    EXPECT_EQ(test::FindingOf("zip", BytesOf("PK\3\4\x14\0\0\0\0\0"s), Bytes(9000)).verdict, Verdict::NoFile);
}

}  // namespace

}  // namespace salvor
