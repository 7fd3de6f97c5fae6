// How long media take that were made to be slow: processor time of all scanners together on images full of file starts.
//
//     salvor_hostile [--mib N,N..] [--wide] [--types] [--only TEXT] [--salvor PROGRAM FOLDER] [FILE...]
//
// Every sample and every FILE becomes images that repeat its first sectors. `--wide` makes more of each: its first
// bytes before one byte over and over. `--types` says which types take most of the time. `--salvor` lets that
// program recover each image from a file in FOLDER as well.

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <numeric>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "bench/Measure.h"
#include "bench/Scan.h"
#include "bench/Streams.h"
#include "frame/contract/FileTypeCatalog.h"
#include "tests/support/Registry.h"

namespace bench {

namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

struct Options {
    std::vector<std::size_t> mebibytes{16, 64};
    bool isWide = false;
    bool withTypes = false;
    std::string only;
    std::string program;
    std::filesystem::path folder;
    std::vector<std::filesystem::path> files;
};

struct Image {
    std::string name;
    /// Fills a medium of whole sectors.
    std::function<void(Bytes&)> fill;
};

void Repeat(ByteSpan part, Bytes& medium) {
    for (std::size_t at = 0; at < medium.size(); at += part.size()) {
        std::memcpy(medium.data() + at, part.data(), std::min(part.size(), medium.size() - at));
    }
}

Bytes FirstSectors(Bytes file, std::size_t sectors) {
    file.resize(sectors * SectorBytes);
    return file;
}

// The first bytes of a file, and one byte up to the sector's end.
Bytes HeadThen(Bytes file, std::size_t count, std::uint8_t fill) {
    file.resize(std::min(count, file.size()));
    file.resize(SectorBytes, fill);
    return file;
}

void AddRepeated(std::vector<Image>& images, std::string name, Bytes part) {
    images.push_back({std::move(name), [part = std::move(part)](Bytes& medium) {
                          Repeat(part, medium);
                      }});
}

std::vector<test::Fixture> Samples(const Options& options) {
    std::vector<test::Fixture> samples = test::Fixtures();
    for (const auto& path : options.files) {
        std::ifstream file(path, std::ios::binary);
        samples.push_back({path.filename().string(), {}, {std::istreambuf_iterator<char>(file), {}}, {}});
    }
    return samples;
}

void AddSample(std::vector<Image>& images, const test::Fixture& sample, bool isWide) {
    AddRepeated(images, sample.name + "/1", FirstSectors(sample.bytes, 1));
    AddRepeated(images, sample.name + "/5", FirstSectors(sample.bytes, 5));
    if (!isWide) {
        return;
    }
    AddRepeated(images, sample.name + "/2", FirstSectors(sample.bytes, 2));
    AddRepeated(images, sample.name + "/16", FirstSectors(sample.bytes, 16));
    for (const std::size_t count : {16U, 64U, 200U}) {
        for (const unsigned fill : {0x00U, 0x01U, 0x20U, 0x78U, 0xFFU}) {
            AddRepeated(images, sample.name + "/" + std::to_string(count) + "+" + std::to_string(fill),
                        HeadThen(sample.bytes, count, static_cast<std::uint8_t>(fill)));
        }
    }
}

// The first sectors of all samples in turn, each with a few bytes changed where that is wanted.
void FillMixed(const std::vector<test::Fixture>& samples, bool isDamaged, Bytes& medium) {
    std::mt19937_64 dice{1};
    for (std::size_t at = 0; at < medium.size(); at += SectorBytes) {
        const std::size_t which = at / SectorBytes % samples.size();
        Bytes head = FirstSectors(samples[which].bytes, 1);
        for (int i = 0; isDamaged && i < 3; ++i) {
            // After most signatures.
            head[8 + dice() % 120] = static_cast<std::uint8_t>(dice());
        }
        std::ranges::copy(head, medium.begin() + static_cast<std::ptrdiff_t>(at));
    }
}

Bytes SectorOf(std::string_view start, std::string_view fill) {
    Bytes sector(start.begin(), start.end());
    for (std::size_t at = 0; sector.size() < SectorBytes; ++at) {
        sector.push_back(static_cast<std::uint8_t>(fill[at % fill.size()]));
    }
    return sector;
}

// The same text in UTF-16.
std::string Wide(std::string_view text) {
    std::string wide;
    for (const char c : text) {
        wide += {c, '\0'};
    }
    return wide;
}

// The head of a compound file whose sectors have 2^shift bytes.
Bytes CompoundHead(std::uint8_t shift) {
    Bytes head = SectorOf("\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1"sv, "\0"sv);
    head[24] = 0x3E;
    head[26] = 3;
    head[28] = 0xFE;
    head[29] = 0xFF;
    head[30] = shift;
    head[32] = 6;
    head[44] = 1;
    head[57] = 0x10;
    return head;
}

void AddNamed(std::vector<Image>& images) {
    AddRepeated(images, "compound-shift-20", CompoundHead(20));
    AddRepeated(images, "compound-shift-31", CompoundHead(31));
    const struct {
        const char* name;
        std::string_view start;
        std::string_view fill;
    } cases[] = {
        {"jpeg-then-ff", "\xFF\xD8\xFF\xE1\0\xDC\x45xif\0\0MM\0*"sv, "\xFF"sv},
        {"jpeg-segments", "\xFF\xD8\xFF\xE0\0\x10JFIF\0\1\1\0\0\1\0\1\0\0"sv, "\xFF\xE2\0\4xx"sv},
        {"jpeg-segments-510", "\xFF\xD8\xFF\xE0\1\xFEJFIF\0\1\1\0\0\1\0\1\0\0"sv, "\xFF\xE2\1\xFE"sv},
        {"gif-blocks-255", "GIF89a\1\0\1\0\0\0\0,\0\0\0\0\1\0\1\0\0\2"sv, "\xFF"sv},
        {"gif-blocks-1", "GIF89a\1\0\1\0\0\0\0,\0\0\0\0\1\0\1\0\0\2"sv, "\1"sv},
        {"pcx-runs", "\x0A\5\1\x08\0\0\0\0\xFF\7\xFF\7\x2C\1\x2C\1"sv, "\xC1"sv},
        {"xml-elements", "<?xml version='1.0'?>"sv, "<a>"sv},
        {"xml-text", "<?xml version='1.0'?><a>"sv, "x"sv},
        {"xml-attributes", "<?xml version='1.0'?><a "sv, "b='' "sv},
        {"xml-doctype", "<?xml version='1.0'?><!DOCTYPE a "sv, "x"sv},
        {"xml-doctype-quotes", "<?xml version='1.0'?><!DOCTYPE a "sv, "''"sv},
        {"xml-comments", "<?xml version='1.0'?><a>"sv, "<!---->"sv},
        {"xml-comment-open", "<?xml version='1.0'?><!--"sv, "-"sv},
        {"xml-cdata-open", "<?xml version='1.0'?><a><![CDATA["sv, "]"sv},
        {"xml-lines", "<?xml version='1.0'?><a "sv, "\n"sv},
        {"xml-doctype-nested", "<?xml version='1.0'?><!DOCTYPE a "sv, "<!"sv},
        {"xml-doctype-entities", "<?xml version='1.0'?><!DOCTYPE a ["sv, "<!b ''>"sv},
        {"xml-prolog-white", "<?xml version='1.0'?>"sv, " "sv},
        {"xml-prolog-instructions", "<?xml version='1.0'?>"sv, "<?a?>"sv},
        {"xml-instructions", "<?xml version='1.0'?><a>"sv, "<?a?>"sv},
        {"xml-declarations", "<?xml version='1.0'?><a>"sv, "<!b>"sv},
        {"xml-cdata", "<?xml version='1.0'?><a>"sv, "<![CDATA[]]>"sv},
        {"xml-comments-behind", "<?xml version='1.0'?><a/>"sv, "<!---->"sv},
        {"html-declarations", "<!DOCTYPE html><html>"sv, "<!"sv},
        {"html-headings", "<!DOCTYPE html><html>"sv, "<h"sv},
        {"html-titles", "<title>"sv, "<p><"sv},
        {"html-elements", "<!DOCTYPE html><html>"sv, "<p>"sv},
        {"dxf-pairs", "  0\r\nSECTION\r\n  2\r\nHEADER\r\n  9\r\n$ACADVER\r\n  1\r\nAC1009\r\n"sv, "  9\r\n$A\r\n"sv},
        {"dxf-blanks", "  0\nSECTION\n  2\nENTITIES\n"sv, " "sv},
        {"gif-extensions", "GIF89a\1\0\1\0\0\0\0"sv, "!\xFE\0"sv},
        {"pdf-end-marks", "%PDF-1.4\n"sv, "%%EOF\n"sv},
        {"pdf-offsets", "%PDF-1.4\n"sv, "startxref\n0\n%%EOF\n"sv},
        {"pdf-objects", "%PDF-1.4\n"sv, "1 0 obj\n"sv},
        {"mail", "Received: from a\r\nContent-Type: text/plain\r\nSubject: x\r\n\r\n"sv, "x\r\n"sv},
        {"mail-boundaries", "Received: from a\r\nContent-Type: multipart/mixed; boundary=\"-\"\r\nSubject: x\r\n\r\n"sv,
         "---\r\n"sv},
        {"mp4-boxes",
         "\0\0\0\x10"
         "ftypisom\0\0\0\0"sv,
         "\0\0\0\x08"
         "free"sv},
        {"zip-members", "PK\3\4\x14\0\0\0\0\0\0\0\0\0\0\0\0\0\xD0\1\0\0\xD0\1\0\0\1\0\0\0a"sv, "x"sv},
    };
    for (const auto& made : cases) {
        AddRepeated(images, made.name, SectorOf(made.start, made.fill));
        if (made.start.starts_with('<')) {
            AddRepeated(images, made.name + "-utf16"s, SectorOf("\xFF\xFE" + Wide(made.start), Wide(made.fill)));
        }
    }
}

std::vector<Image> MakeImages(const Options& options) {
    std::vector<Image> images;
    const std::vector<test::Fixture> samples = Samples(options);
    for (const test::Fixture& sample : samples) {
        AddSample(images, sample, options.isWide);
    }
    AddNamed(images);
    images.push_back({"mixed", [samples](Bytes& medium) {
                          FillMixed(samples, false, medium);
                      }});
    images.push_back({"damaged", [samples](Bytes& medium) {
                          FillMixed(samples, true, medium);
                      }});
    std::erase_if(images, [&](const Image& image) { return image.name.find(options.only) == std::string::npos; });
    return images;
}

std::vector<std::int32_t> AllIndices() {
    std::vector<std::int32_t> indices(FileTypeCount);
    std::iota(indices.begin(), indices.end(), 0);
    return indices;
}

double SecondsToScan(const std::vector<std::int32_t>& indices, const Bytes& medium) {
    FiniteSource source(medium);
    Scan scan(indices, medium, source);
    const double start = ProcessorSeconds();
    scan.Pass();
    return ProcessorSeconds() - start;
}

// Processor seconds, of the program and in the kernel.
double SecondsToRecover(const Options& options, const Bytes& medium) {
    const std::filesystem::path image = options.folder / "hostile.img";
    const std::filesystem::path out = options.folder / "hostile.out";
    std::ofstream(image, std::ios::binary)
        .write(reinterpret_cast<const char*>(medium.data()), static_cast<std::streamsize>(medium.size()));
    std::filesystem::remove_all(out);
    // The child would print buffered output once more.
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        std::freopen("/dev/null", "w", stdout);
        std::freopen("/dev/null", "w", stderr);
        execl(options.program.c_str(), options.program.c_str(), "recover", image.c_str(), "--out", out.c_str(),
              nullptr);
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    wait4(child, &status, 0, &usage);
    std::filesystem::remove_all(out);
    std::filesystem::remove(image);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

void PrintDearestTypes(const Bytes& medium) {
    std::vector<std::pair<double, std::int32_t>> types;
    for (const std::int32_t index : AllIndices()) {
        types.emplace_back(SecondsToScan({index}, medium), index);
    }
    std::ranges::sort(types, std::greater());
    for (const auto& [seconds, index] : types) {
        if (seconds < types.front().first / 10 || seconds < static_cast<double>(medium.size()) / 4e9) {
            break;
        }
        std::printf("    %3d %-5s %8.0f MB/s\n", index, FileTypeCatalog[index].extension,
                    static_cast<double>(medium.size()) / seconds / 1e6);
    }
}

struct Row {
    std::string name;
    // Bytes a second of processor time, for each size of the medium.
    std::vector<double> scanned;
    std::vector<double> recovered;
};

Row Measure(const Options& options, const Image& image) {
    Row row{image.name, {}, {}};
    std::printf("%-28s", image.name.c_str());
    for (const std::size_t mebibytes : options.mebibytes) {
        Bytes medium(mebibytes << 20U);
        image.fill(medium);
        const auto size = static_cast<double>(medium.size());
        row.scanned.push_back(size / SecondsToScan(AllIndices(), medium));
        std::printf(" %8.1f", row.scanned.back() / 1e6);
        if (!options.program.empty()) {
            row.recovered.push_back(size / SecondsToRecover(options, medium));
            std::printf(" (%6.1f)", row.recovered.back() / 1e6);
        }
        std::fflush(stdout);
    }
    // 1 where time grows as the medium does.
    std::printf("  x%.2f\n", row.scanned.front() / row.scanned.back());
    if (options.withTypes) {
        Bytes medium(options.mebibytes.front() << 20U);
        image.fill(medium);
        PrintDearestTypes(medium);
    }
    std::fflush(stdout);
    return row;
}

void PrintSlowest(std::vector<Row> rows, std::vector<double> Row::*speeds, const char* what) {
    const auto slowest = [speeds](const Row& row) {
        return std::ranges::min(row.*speeds);
    };
    std::ranges::sort(rows, {}, slowest);
    std::printf("\nslowest when %s, MB/s:\n", what);
    for (std::size_t i = 0; i < std::min<std::size_t>(rows.size(), 20); ++i) {
        std::printf("%-28s %8.1f\n", rows[i].name.c_str(), slowest(rows[i]) / 1e6);
    }
}

int Run(const Options& options) {
    std::printf("MB/s of processor time at");
    for (const std::size_t mebibytes : options.mebibytes) {
        std::printf(" %zu", mebibytes);
    }
    std::printf(" MiB%s\n", options.program.empty() ? "" : " (recover)");
    std::vector<Row> rows;
    for (const Image& image : MakeImages(options)) {
        rows.push_back(Measure(options, image));
    }
    PrintSlowest(rows, &Row::scanned, "scanned");
    if (!options.program.empty()) {
        PrintSlowest(rows, &Row::recovered, "recovered");
    }
    return 0;
}

bool ParseSizes(std::string_view text, std::vector<std::size_t>& sizes) {
    sizes.clear();
    const char* at = text.data();
    const char* const end = at + text.size();
    while (at < end) {
        std::size_t size = 0;
        const auto [stop, error] = std::from_chars(at, end, size);
        if (error != std::errc() || size == 0) {
            return false;
        }
        sizes.push_back(size);
        at = stop < end ? stop + 1 : stop;
    }
    return !sizes.empty();
}

// False if the arguments cannot be understood.
bool Parse(const std::vector<std::string>& arguments, Options& options) {
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        const std::size_t left = arguments.size() - i - 1;
        if (argument == "--wide") {
            options.isWide = true;
        } else if (argument == "--types") {
            options.withTypes = true;
        } else if (argument == "--only" && left >= 1) {
            options.only = arguments[++i];
        } else if (argument == "--mib" && left >= 1) {
            if (!ParseSizes(arguments[++i], options.mebibytes)) {
                return false;
            }
        } else if (argument == "--salvor" && left >= 2) {
            options.program = arguments[++i];
            options.folder = arguments[++i];
        } else if (argument.starts_with("-")) {
            return false;
        } else {
            options.files.emplace_back(argument);
        }
    }
    return true;
}

}  // namespace

}  // namespace bench

int main(int argc, char** argv) {
    bench::Options options;
    if (!bench::Parse({argv + 1, argv + argc}, options)) {
        std::fputs(
            "usage: salvor_hostile [--mib N,N..] [--wide] [--types] [--only TEXT] [--salvor PROGRAM FOLDER] "
            "[FILE...]\n",
            stderr);
        return 2;
    }
    return bench::Run(options);
}
