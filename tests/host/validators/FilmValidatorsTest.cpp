#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <tuple>
#include <utility>

#include "frame/bytes/Bytes.h"
#include "tests/host/validators/TestPlace.h"
#include "tests/support/BoxBytes.h"

namespace salvor {

namespace {

using namespace test;
using ::test::Join;
using ::test::PutNumber;

Bytes BoxOf(const char* type, const Bytes& content) {
    return Join({::test::box::Header(static_cast<std::uint32_t>(content.size() + 8), type), content});
}

std::size_t PlaceOf(const Bytes& file, const std::string& text) {
    return static_cast<std::size_t>(std::search(file.begin(), file.end(), text.begin(), text.end()) - file.begin());
}

TEST(BoxValidator, FindsTheEndOfEveryLayout) {
    const Bytes film = Fixture("film.mov");
    const std::size_t data = PlaceOf(film, "wide") - 4;
    for (const char* name : {"plain.mp4", "faststart.mp4", "fragmented.mp4", "phone.3gp", "film.m4v", "still.cr3"}) {
        ExpectWhole("boxes", Fixture(name), name);
    }
    ExpectWhole("boxes", film, "movie");
    ExpectWhole("boxes", Bytes(film.begin() + static_cast<std::ptrdiff_t>(data), film.end()), "without a file type");
    ExpectWhole("boxes", Join({film, BoxOf("free", Bytes(33))}), "free space behind");
    ExpectWhole("boxes", Join({film, BoxOf("Zq7x", Bytes(9, 1)), BoxOf("skip", {})}), "a maker's box");

    // The size of the media data is left open; the tables before the data tell it.
    Bytes open = Fixture("faststart.mp4");
    const std::size_t size = PlaceOf(open, "mdat") - 4;
    std::fill_n(open.begin() + static_cast<std::ptrdiff_t>(size), 4, std::uint8_t{0});
    ExpectWhole("boxes", open, "media data without a size");
}

TEST(BoxValidator, LeavesOutBytesThatLookLikeABoxByChance) {
    const Bytes film = Fixture("film.mov");
    const Bytes chance = BoxOf("fdui", Pattern(4096));
    const std::int64_t end = std::ssize(film) + std::ssize(chance);
    const auto sizeWith = [&](std::size_t zeros, const Neighbours& neighbours) {
        return FindingOf("boxes", film, Join({chance, Bytes(zeros), Pattern(4096)}), neighbours).size;
    };
    const auto toSectorEnd = static_cast<std::size_t>(512 - end % 512);
    ASSERT_GT(toSectorEnd, 16U);
    EXPECT_EQ(sizeWith(toSectorEnd, {}), end);
    EXPECT_EQ(sizeWith(16, {}), std::ssize(film));
    EXPECT_EQ(sizeWith(toSectorEnd, {{3 + end / 512 - 2}, {}}), std::ssize(film));
}

TEST(BoxValidator, TellsBrokenFilesAndPieces) {
    const Bytes film = Fixture("plain.mp4");
    const std::size_t movie = PlaceOf(film, "moov") - 4;
    const Bytes cut(film.begin(), film.begin() + static_cast<std::ptrdiff_t>(movie));
    EXPECT_EQ(FindingOf("boxes", cut, Pattern(70000)).verdict, Verdict::Damaged);
    EXPECT_EQ(FindingOf("boxes", Bytes(cut.begin(), cut.end() - 5)).verdict, Verdict::Truncated);

    // Once the data were taken out, the tables of a movie point past its end; the end stays.
    const Bytes stripped = Join({Bytes(film.begin(), film.begin() + 32), BoxOf("mdat", Bytes(10)),
                                 Bytes(film.begin() + static_cast<std::ptrdiff_t>(movie), film.end())});
    const Finding finding = FindingOf("boxes", stripped, Pattern(70000));
    EXPECT_EQ(finding.verdict, Verdict::Truncated);
    EXPECT_EQ(finding.size, std::ssize(stripped));

    const Bytes piece = Join({BoxOf("mdat", Bytes(900)), BoxOf("moof", Bytes(100)), BoxOf("mdat", Bytes(900))});
    EXPECT_EQ(FindingOf("boxes", piece, Pattern(70000)).verdict, Verdict::NoFile);
}

TEST(BoxValidator, EndsForBoxesThatNestWithoutEnd) {
    Bytes nest;
    for (int depth = 0; depth < 20000; ++depth) {
        nest.insert(nest.end(), {0, 0, 0, 0, 'm', 'd', 'i', 'a'});
    }
    for (std::size_t at = 0; at < nest.size(); at += 8) {
        PutNumber(nest, at, nest.size() - at, 4, true);
    }
    const Bytes file = Join({BoxOf("ftyp", {'i', 's', 'o', 'm', 0, 0, 0, 0}), BoxOf("moov", BoxOf("trak", nest))});
    EXPECT_EQ(FindingOf("boxes", file, Pattern(70000)).verdict, Verdict::Damaged);
}

TEST(BoxValidator, NamesByBrand) {
    const Bytes film = Fixture("plain.mp4");
    const auto named = [&film](const std::string& brand) {
        Bytes renamed = film;
        std::copy(brand.begin(), brand.end(), renamed.begin() + 8);
        return FindingOf("boxes", renamed).extension;
    };
    EXPECT_EQ(named("isom"), "");
    EXPECT_EQ(named("heic"), "heic");
    EXPECT_EQ(named("avif"), "avif");
    EXPECT_EQ(named("3g2a"), "3g2");
}

Bytes AudioFrame(std::uint8_t second, std::uint8_t third, std::size_t length) {
    Bytes frame(length, 0x55);
    frame[0] = 0xFF;
    frame[1] = second;
    frame[2] = third;
    frame[3] = 0;
    frame[4] = frame[5] = 0;
    return frame;
}

Bytes Repeated(const Bytes& part, int count) {
    Bytes all;
    for (int i = 0; i < count; ++i) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

Bytes Numbers(std::initializer_list<std::uint32_t> values) {
    Bytes bytes;
    for (const std::uint32_t value : values) {
        bytes = Join({bytes, {0, 0, static_cast<std::uint8_t>(value >> 8U), static_cast<std::uint8_t>(value)}});
    }
    return bytes;
}

// A sound of 40 samples of 100 bytes each, behind their tables.
Bytes SoundOf(const char* coding, const Bytes& samples) {
    const Bytes handler = BoxOf("hdlr", Join({Bytes(8), {'s', 'o', 'u', 'n'}, Bytes(13)}));
    const auto moviePointingTo = [&](std::uint32_t data) {
        const Bytes table = Join({BoxOf("stsd", Join({Numbers({0, 1}), BoxOf(coding, Bytes(28))})),
                                  BoxOf("stsz", Numbers({0, 100, 40})), BoxOf("stsc", Numbers({0, 1, 1, 40, 1})),
                                  BoxOf("stco", Numbers({0, 1, data}))});
        const Bytes media = BoxOf("mdia", Join({handler, BoxOf("minf", BoxOf("stbl", table))}));
        return Join({BoxOf("ftyp", {'M', '4', 'A', ' ', 0, 0, 0, 0}),
                     BoxOf("moov", Join({BoxOf("mvhd", Bytes(100)), BoxOf("trak", media)}))});
    };
    const auto data = static_cast<std::uint32_t>(moviePointingTo(0).size() + 8);
    return Join({moviePointingTo(data), BoxOf("mdat", samples)});
}

TEST(BoxValidator, TellsForeignBytesFromSamplesOfAnUnusualKind) {
    const Bytes silence = Repeated(Join({{0x21, 0x10}, Bytes(98, 4)}), 40);
    Bytes mixed = silence;
    for (std::size_t at = 0; at < mixed.size(); at += 300) {
        mixed[at] = 0xDE;
    }
    const Bytes holed = Join({Bytes(silence.begin(), silence.begin() + 2000), Bytes(2000)});
    for (const auto& [what, samples, verdict] : {std::tuple{"pairs of channels", silence, Verdict::Whole},
                                                 {"other elements too", mixed, Verdict::Whole},
                                                 {"foreign", Pattern(4000), Verdict::Damaged},
                                                 {"zeros", Bytes(4000), Verdict::Damaged},
                                                 {"zeros in the second half", holed, Verdict::Damaged}}) {
        EXPECT_EQ(FindingOf("boxes", SoundOf("mp4a", samples), Bytes(512)).verdict, verdict) << what;
    }
    EXPECT_EQ(FindingOf("boxes", SoundOf("Opus", holed), Bytes(512)).verdict, Verdict::Damaged);
    EXPECT_EQ(FindingOf("boxes", SoundOf("sowt", holed), Bytes(512)).verdict, Verdict::Whole) << "uncompressed silence";
}

TEST(MpegAudioValidator, StepsOverFramesOfAllKindsAndTheirTags) {
    struct Stream {
        const char* what;
        const char* extension;
        Bytes frame;
    };
    const Stream streams[] = {
        {"MPEG-1 Layer III, 128 kbit/s", "", AudioFrame(0xFB, 0x90, 417)},
        {"MPEG-1 Layer III, free", "", AudioFrame(0xFB, 0x00, 700)},
        {"MPEG-2 Layer III, 64 kbit/s", "", AudioFrame(0xF3, 0x80, 208)},
        {"MPEG-2.5 Layer III, 64 kbit/s", "", AudioFrame(0xE3, 0x80, 417)},
        {"MPEG-1 Layer II, 192 kbit/s", "mp2", AudioFrame(0xFD, 0xA4, 576)},
        {"MPEG-1 Layer I, 192 kbit/s", "mp1", AudioFrame(0xFF, 0x64, 192)},
    };
    Bytes end(128, 0);
    std::ranges::copy(std::string("TAGtitle"), end.begin());
    const Bytes padded = Join({{'I', 'D', '3', 3, 0, 0, 0, 0, 1, 4}, Bytes(132)});
    for (const Stream& stream : streams) {
        const Bytes sound = Repeated(stream.frame, 40);
        const Finding open = FindingOf("mpegaudio", sound, Pattern(70000));
        EXPECT_EQ(open.verdict, Verdict::Open) << stream.what;
        EXPECT_EQ(open.size, std::ssize(sound)) << stream.what;
        EXPECT_EQ(open.extension, stream.extension) << stream.what;
        ExpectWhole("mpegaudio", Join({padded, sound, end}), stream.what);
    }
    ExpectWhole("mpegaudio", Fixture("plain.mp3"), "plain.mp3");

    // The rest of another frame, behind the tag, looks like a frame.
    const Bytes rest = Join({AudioFrame(0xF3, 0xB4, 336), Bytes(21, 0xBA)});
    const Bytes sound = Join({{'I', 'D', '3', 4, 0, 0, 0, 0, 0, 4}, Bytes(4), rest, Repeated(streams[0].frame, 40)});
    EXPECT_EQ(FindingOf("mpegaudio", sound, Pattern(70000)).size, std::ssize(sound));

    // Few long frames of AAC.
    const Bytes header{0xFF, 0xF1, 0x6D, 0x81, 0x9C, 0x7F, 0xFC};
    const Bytes surround = Repeated(Join({header, Bytes(3299 - 7, 0x21)}), 6);
    EXPECT_EQ(FindingOf("mpegaudio", surround, Pattern(70000)).size, std::ssize(surround));
}

TEST(MpegAudioValidator, TellsPiecesAndHoles) {
    // A sector with a header whose frame no longer fits.
    EXPECT_EQ(FindingOf("mpegaudio", Bytes{0xFF, 0xFB, 0x90, 0, 0, 0, 0, 0}).verdict, Verdict::NoFile);
    Bytes sound = Repeated(AudioFrame(0xFB, 0x90, 417), 40);
    EXPECT_EQ(FindingOf("mpegaudio", Repeated(AudioFrame(0xFB, 0x90, 417), 9), Pattern(70000)).verdict,
              Verdict::NoFile);
    Bytes piece = sound;
    piece[4] = 1;
    EXPECT_EQ(FindingOf("mpegaudio", piece, Pattern(70000)).verdict, Verdict::NoFile);
    EXPECT_EQ(FindingOf("mpegaudio", Repeated({0xFF, 0xFF, 0, 0, 0x30, 0x2B, 0x43, 0}, 900), Pattern(70000)).verdict,
              Verdict::NoFile)
        << "a table of numbers";
    EXPECT_EQ(
        FindingOf("mpegaudio", Repeated({0xFF, 0xFF, 0x25, 0x42, 0xAB, 0, 0, 0x68, 8, 0, 0, 0, 0xE9, 0x60, 1, 1}, 300),
                  Pattern(70000))
            .verdict,
        Verdict::NoFile)
        << "jumps of a program";
    // A film's sound stands between its pictures.
    const Bytes withPicture = Join({Repeated(AudioFrame(0xFB, 0x90, 417), 5), Pattern(3000)});
    EXPECT_EQ(FindingOf("mpegaudio", Repeated(withPicture, 40), Pattern(70000)).verdict, Verdict::NoFile);
    // The next sound begins inside a frame that lost its end.
    Bytes next(256, 0);
    std::ranges::copy(std::string("ID3\3\0\0\0\0\1\x76TIT2", 14), next.begin());
    const Finding cut = FindingOf("mpegaudio", Bytes(sound.begin(), sound.begin() + 8192), Join({next, sound}),
                                  {.starts = {3 + 16}, .wholes = {}});
    EXPECT_EQ(cut.verdict, Verdict::Truncated);
    EXPECT_EQ(cut.size, 8192);

    std::ranges::copy(Pattern(4096), sound.begin() + 4096);
    const Finding finding = FindingOf("mpegaudio", sound, Pattern(70000));
    EXPECT_EQ(finding.verdict, Verdict::Damaged);
    EXPECT_EQ(finding.size, std::ssize(sound));
}

TEST(BoxValidator, LooksAtSamples) {
    // The data at the end of a film belong to something else.
    Bytes film = Fixture("faststart.mp4");
    std::ranges::copy(Pattern(400), film.end() - 400);
    const Finding finding = FindingOf("boxes", film, Pattern(70000));
    EXPECT_EQ(finding.verdict, Verdict::Damaged);
    EXPECT_LE(finding.size, std::ssize(film));

    // A fragment has less data than its samples need, because of the medium's end and because of its own box.
    Bytes torn = Fixture("fragmented.mp4");
    const std::size_t data = PlaceOf(torn, "mdat") + 4;
    torn.resize(data + 40);
    EXPECT_EQ(FindingOf("boxes", torn).verdict, Verdict::Truncated);
    torn[data - 7] = 0;
    torn[data - 6] = 0;
    torn[data - 5] = 48;
    EXPECT_EQ(FindingOf("boxes", torn, Pattern(70000)).verdict, Verdict::Truncated);
}

TEST(StreamPacketValidators, FollowPacketsToTheLast) {
    for (const auto& [validator, name] :
         {std::pair{"transport", "stream.ts"}, {"transport", "stream.m2ts"}, {"program", "stream.vob"}}) {
        const Bytes sound = Fixture(name);
        for (const Bytes& behind : {Bytes(70000, 0), Pattern(70000)}) {
            const Finding finding = FindingOf(validator, sound, behind);
            EXPECT_EQ(finding.verdict, Verdict::Open) << name << ": " << finding.why;
            EXPECT_EQ(finding.size, std::ssize(sound)) << name;
        }
        Bytes holed = sound;
        std::ranges::copy(Pattern(1024), holed.begin() + 8192);
        const Finding finding = FindingOf(validator, holed, Pattern(70000));
        EXPECT_EQ(finding.verdict, Verdict::Damaged) << name;
        EXPECT_EQ(finding.size, std::ssize(sound)) << name;
    }
    // The last packet is the first of a stream that a program's description lists.
    Bytes listed = Fixture("stream.ts");
    listed.resize(std::size_t{28} * 188);
    EXPECT_EQ(FindingOf("transport", listed, Bytes(4096)).size, std::ssize(listed));
    ExpectWhole("program", Join({Fixture("stream.vob"), {0, 0, 1, 0xB9}}), "end code");
    // Without the list of programs, or with a wrong checksum in it, it is the remainder of a stream.
    for (const std::size_t changed : {2U, 9U}) {
        Bytes piece = Fixture("stream.ts");
        for (std::size_t packet = 0; packet < piece.size(); packet += 188) {
            if ((piece[packet + 1] & 0x1F) == 0 && piece[packet + 2] == 0) {
                piece[packet + changed] ^= 1U;
            }
        }
        EXPECT_EQ(FindingOf("transport", piece, Pattern(70000)).verdict, Verdict::NoFile) << changed;
    }
}

TEST(MpegVideoValidator, FollowsPicturesToTheEndCode) {
    const Bytes header{0, 0, 1, 0xB3, 0x16, 0, 0xF0, 0x15, 0xFF, 0xFF, 0xE0, 0, 0, 0, 1, 0xB8, 0, 8, 0, 0x40};
    const Bytes picture{0, 0, 1, 0, 0, 0xF, 0xFF, 0xF8, 0, 0, 1, 1, 0x43, 0xBD, 0, 0, 1, 2, 0x6F, 0xFF, 0, 0};
    const Bytes end{0, 0, 1, 0xB7};
    ExpectWhole("mpegvideo", Join({header, Repeated(picture, 30), end}), "a film");
    EXPECT_EQ(FindingOf("mpegvideo", Join({header, Repeated(picture, 30)}), Pattern(9000)).verdict, Verdict::Damaged);
    for (const Bytes& stranger : {Bytes{0, 0, 1, 0xBA, 0x44}, Bytes{0, 0, 1, 0xB3, 0, 0}}) {
        const Bytes film = Join({header, picture, picture, stranger, picture, end});
        EXPECT_NE(FindingOf("mpegvideo", film, Pattern(9000)).verdict, Verdict::Whole);
    }
    EXPECT_EQ(FindingOf("mpegvideo", Join({header, end}), Pattern(9000)).verdict, Verdict::NoFile);
}

TEST(VegasValidator, TilesTheOutermostChunk) {
    const auto chunk = [](const std::string& name, std::uint8_t size) {
        Bytes bytes(size, 0x11);
        std::ranges::copy(name, bytes.begin());
        std::fill_n(bytes.begin() + 16, 8, std::uint8_t{0});
        bytes[16] = size;
        return bytes;
    };
    Bytes file =
        Join({chunk("riff\x2E\x91\xCF\x11\xA5\xD6\x28\xDB\x04\xC1", 40), chunk("abcd", 64), chunk("efgh", 40)});
    file[14] = file[15] = 0;
    file[16] = static_cast<std::uint8_t>(file.size());
    ExpectWhole("vegas", file, "project");
    file[40 + 16] = 66;
    EXPECT_EQ(FindingOf("vegas", file, Pattern(70000)).verdict, Verdict::Damaged);
}

}  // namespace

}  // namespace salvor
