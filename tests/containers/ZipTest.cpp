#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstring>

#include "containers/KZipFileSearcher.h"
#include "tests/support/Registry.h"
#include "tests/support/ZipBuilder.h"

namespace {

using namespace test;
using Kinds = std::array<Finds, 12>;

struct NameCase {
    std::string_view name;
    std::int32_t kind;
};
constexpr std::string_view OpenDocument = "mimetypeapplication/vnd.oasis.opendocument.";
const std::vector<NameCase>& Names() {
    static const std::string text = std::string(OpenDocument) + "text";
    static const std::string sheet = std::string(OpenDocument) + "spreadsheet";
    static const std::string slides = std::string(OpenDocument) + "presentation";
    static const std::string drawing = std::string(OpenDocument) + "graphics";
    static const std::vector<NameCase> names{{"application/vnd.oasis.opendocument.formula", 10},
                                             {"application/x-vnd.oasis.opendocument.formula", 10},
                                             {"ppt/slides/", 3},
                                             {"ppt/slideLayouts/", 3},
                                             {"ppt/slideMasters/", 3},
                                             {"ppt/media/", 3},
                                             {"ppt/presProps.xml", 3},
                                             {"PxlPkg.plist", 11},
                                             {"word/_rels/document.xml.rels", 1},
                                             {"word/document.xml", 1},
                                             {"word/footnotes.xml", 1},
                                             {"word/endnotes.xml", 1},
                                             {"word/settings.xml", 1},
                                             {"word/styles.xml", 1},
                                             {"xl/_rels/workbook.xml", 2},
                                             {"xl/workbook.xml", 2},
                                             {"xl/worksheets/", 2},
                                             {text, 4},
                                             {sheet, 5},
                                             {slides, 6},
                                             {"mimetypeapplication/vnd.sun.xml.base", 8},
                                             {drawing, 7},
                                             {"META-INF/MANIFEST.MF", 9}};
    return names;
}

// The rule for one sector written out plainly, byte by byte: the end's offset or -1.
std::int64_t ReferenceClassify(const std::uint8_t* sector, std::size_t n, std::int32_t& kind) {
    constexpr std::uint8_t mark[] = {'P', 'K', 5, 6, 0, 0, 0, 0};
    for (std::size_t i = 0; i < n; ++i) {
        if (i + 8 < n && std::equal(mark, mark + 8, sector + i)) {
            return static_cast<std::int64_t>(i) + 22;
        }
        for (const NameCase& name : Names()) {
            const auto same = [](char a, std::uint8_t b) {
                return std::tolower(a) == std::tolower(b);
            };
            if (kind == 0 && i + name.name.size() < n &&
                std::ranges::equal(name.name, ByteSpan(sector + i, name.name.size()), same)) {
                kind = name.kind;
                return -1;
            }
        }
    }
    return -1;
}

Kinds ReferenceScan(const Medium& medium, std::int64_t maxSize) {
    struct Entry {
        std::int64_t start;
        std::int64_t size;
        std::int32_t kind;
    };
    std::vector<Entry> found;
    std::vector<Entry> pending;
    bool inFile = false;
    Entry open{};
    const std::int64_t n = medium.SectorSize();
    for (std::int64_t sector = 0; sector < medium.SectorCount(); ++sector) {
        const std::uint8_t* const data = medium.Data().data() + sector * n;
        if (n > 50 && std::memcmp(data, "PK\x03\x04", 4) == 0) {
            if (!inFile || open.size < 256) {
                open.kind = 0;
            } else if (open.size > maxSize) {
                found.push_back({open.start, maxSize, open.kind});
            } else {
                for (Entry& entry : pending) {
                    entry.size += open.size;
                }
                pending.push_back(open);
            }
            inFile = true;
            open = {sector, 0, open.kind};
        } else if (!inFile) {
            continue;
        }
        const std::int64_t end = ReferenceClassify(data, static_cast<std::size_t>(n), open.kind);
        if (end < 0) {
            open.size += n;
            continue;
        }
        open.size += end;
        const std::int64_t size = std::min(open.size, maxSize);
        if (open.size >= 256) {
            found.push_back({open.start, size, open.kind});
        }
        for (const Entry& entry : pending) {
            found.push_back({entry.start, std::min(entry.size + size, maxSize), open.kind});
        }
        pending.clear();
        inFile = false;
    }
    Kinds kinds;
    for (const Entry& entry : found) {
        kinds[static_cast<std::size_t>(entry.kind)].push_back({entry.start, entry.size});
    }
    return kinds;
}

Kinds ScanWithEngine(KZipFileSearcher& engine, Medium& medium, const Blocks& blocks) {
    std::array<RecordingSink, 12> sinks;
    std::int64_t first = 0;
    for (const std::int64_t count : blocks) {
        const SectorBlock block = BlockOf(medium, first, count);
        for (std::size_t kind = 0; kind < sinks.size(); ++kind) {
            engine.ScanForKind(&block, &sinks[kind], static_cast<std::int32_t>(kind));
        }
        first += count;
    }
    Kinds kinds;
    std::ranges::transform(sinks, kinds.begin(), &RecordingSink::finds);
    return kinds;
}

// Sectors of 51 to 600 bytes with headers, end marks and names, whole, cut and with a byte changed, most of them where
// a sector begins or ends.
Medium DenseMedium(Noise& noise) {
    const auto size = 51 + noise.Below(550);
    const auto sectors = 1 + noise.Below(120);
    Bytes bytes(sectors * size, 'l');
    const auto place = [&](std::size_t at, Bytes pattern) {
        if (noise.Below(8) == 0) {
            pattern[noise.Below(pattern.size())] ^= 0x20U;
        }
        for (std::size_t i = 0; i < pattern.size() && at + i < bytes.size(); ++i) {
            bytes[at + i] = pattern[i];
        }
    };
    const std::uint64_t pieces = 1 + noise.Below(sectors);
    const std::uint64_t names = noise.Below(3) * 4;
    for (std::uint64_t piece = 0; piece < pieces; ++piece) {
        const std::size_t sector = noise.Below(sectors) * size;
        const std::size_t anywhere = sector + noise.Below(size);
        const std::size_t nearEnd = sector + size - std::min<std::size_t>(size, noise.Below(60));
        const std::uint64_t what = noise.Below(10 + names);
        if (what < 7) {
            place(sector, BytesOf("PK\x03\x04"));
        } else if (what < 10) {
            place(noise.Below(2) == 0 ? anywhere : nearEnd, ZipEnd());
        } else {
            Bytes name = BytesOf(Names()[noise.Below(Names().size())].name);
            for (std::uint8_t& byte : name) {
                byte = static_cast<std::uint8_t>(noise.Below(4) == 0 ? std::toupper(byte) : byte);
            }
            place(noise.Below(2) == 0 ? anywhere : nearEnd, name);
        }
    }
    return Medium(static_cast<std::int32_t>(size), std::move(bytes));
}

TEST(Zip, AgreesWithTheReferenceOnDenseMedia) {
    Noise noise(67);
    std::array<std::size_t, 12> reports{};
    for (int round = 0; round < 4000; ++round) {
        Medium medium = DenseMedium(noise);
        const std::int64_t maxSize =
            noise.Below(2) == 0 ? 0x20000000 : 256 + static_cast<std::int64_t>(noise.Below(6000));
        KZipFileSearcher engine;
        engine.SetMaxFileSize(maxSize);
        const Kinds expected = ReferenceScan(medium, maxSize);
        ASSERT_EQ(ScanWithEngine(engine, medium, RandomBlocks(medium, noise)), expected)
            << "round " << round << ", sectors of " << medium.SectorSize();
        std::ranges::transform(expected, reports, reports.begin(),
                               [](const Finds& finds, std::size_t sum) { return sum + finds.size(); });
    }
    for (std::size_t kind = 0; kind < reports.size(); ++kind) {
        EXPECT_GT(reports[kind], 20U) << "the media have become too thin to test kind " << kind;
    }
}

// Header and name in the first of four sectors, the end mark in the last.
Bytes Package(std::string_view name, std::size_t nameOffset = 100) {
    Bytes sectors = Zeros(4 * 512);
    std::ranges::copy(ZipLocal("", {}), sectors.begin());
    std::ranges::copy(name, sectors.begin() + static_cast<std::ptrdiff_t>(nameOffset));
    std::ranges::copy(ZipEnd(), sectors.begin() + 3 * 512);
    return sectors;
}
constexpr Found WholePackage{0, 3 * 512 + 22};

TEST(Zip, EachNameGoesToItsTypeInAnyLetterCaseWhollyInsideASector) {
    // By kind; Office Open XML goes to the types of the other engine, which see no directory here.
    constexpr std::int32_t types[] = {67, -1, -1, -1, 9, 10, 11, 12, 13, 94, 93, 98};
    for (const NameCase& tested : Names()) {
        std::string upper(tested.name);
        std::ranges::transform(upper, upper.begin(),
                               [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
        const std::int32_t type = types[tested.kind];
        const Claims named = type < 0 ? Claims{} : Claims{{type, WholePackage}};
        for (const std::string_view name : {tested.name, std::string_view(upper)}) {
            for (const std::size_t spare : {1U, 0U}) {
                Medium medium(512, Package(name, 512 - name.size() - spare));
                EXPECT_EQ(ScanWithAllTypes(medium, {1, 3}),
                          spare == 1 ? named : (Claims{{FileTypeIndex::Zip, WholePackage}}))
                    << name;
            }
        }
    }
}

TEST(Zip, EndsAtTheFirstWholeMarkThatNamesDiskZero) {
    constexpr std::string_view manifest = "META-INF/MANIFEST.MF";
    struct {
        std::size_t offset;
        std::string_view before;
        Claims claims;
    } const cases[] = {{300, "", {{FileTypeIndex::Zip, {0, 322}}}},
                       {512 - 9, "", {{FileTypeIndex::Zip, {0, 512 + 13}}}},
                       // Ends one byte too late for this sector; and lies past this sector's end for the next case.
                       {512 - 8, "", {{FileTypeIndex::Zip, WholePackage}}},
                       // Not in the sector of the deciding name.
                       {300, manifest, {{FileTypeIndex::Jar, WholePackage}}},
                       {234, "", {{FileTypeIndex::Zip, {0, 256}}}},
                       {233, "", {}}};
    for (const auto& tested : cases) {
        Medium medium(512, Package(tested.before));
        std::ranges::copy(ZipEnd(), medium.Data().begin() + static_cast<std::ptrdiff_t>(tested.offset));
        EXPECT_EQ(ScanWithAllTypes(medium, {1, 1, 2}), tested.claims) << tested.offset;
    }
    Medium medium(512, Package(""));
    medium.Put(1, ZipEnd());
    medium.Data()[512 + 4] = 1;
    EXPECT_EQ(Scan(FileTypeIndex::Zip, medium), (Finds{WholePackage})) << "part of a split archive";
}

TEST(Zip, StoredArchivesAtSectorStartsEndTogetherWithTheOnesAroundThem) {
    Medium medium;
    medium.Put(0, ZipLocal("", {})).Put(2, ZipLocal("", {})).Put(5, ZipLocal("", {}));
    medium.Put(9, BytesOf("META-INF/MANIFEST.MF")).Put(12, ZipEnd(100));
    const auto upTo = [](std::int64_t start) {
        return Found{start, (12 - start) * 512 + 22};
    };
    EXPECT_EQ(ScanAtEverySplit(FileTypeIndex::Jar, medium), (Finds{upTo(5), upTo(0), upTo(2)}));
}

TEST(Zip, OnlyTheEnginesOwnEndOfScanForgetsWaitingArchives) {
    Medium waiting;
    waiting.Put(0, ZipLocal("", {})).Put(1, ZipLocal("", {}));
    Medium later(512, Package(""));
    const SectorBlock first = BlockOf(waiting);
    later.streamShift = 100;
    const SectorBlock second = BlockOf(later);
    KZipFileSearcher& engine = SharedEngine<KZipFileSearcher>();
    for (const bool forget : {false, true}) {
        const TypePtr zip = CreateType(FileTypeIndex::Zip);
        RecordingSink sink;
        zip->BeginScan();
        zip->SetMaxFileSize(300);
        zip->ScanBlock(&first, &sink);
        EXPECT_EQ(forget ? engine.EndScan() : zip->EndScan(), 1);
        // The block is scanned once and handed out twice.
        zip->ScanBlock(&second, &sink);
        zip->ScanBlock(&second, &sink);
        const Found whole{100, WholePackage.size};
        const Found waited{0, 512 + WholePackage.size};
        EXPECT_EQ(sink.finds, forget ? (Finds{whole, whole}) : (Finds{whole, waited, whole, waited}));
        EXPECT_EQ(CreateType(FileTypeIndex::Odt)->Reset(), 1);
        zip->ScanBlock(&second, &sink);
        EXPECT_EQ(sink.finds.back(), whole) << "another type's reset makes the engine scan again";
    }
}

}  // namespace
