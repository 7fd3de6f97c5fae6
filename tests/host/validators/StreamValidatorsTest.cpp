#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "tests/host/validators/TestPlace.h"
#include "tests/support/Numbers.h"

namespace salvor {

namespace {

using namespace test;
using ::test::Join;

TEST(StreamValidators, TellWholeFilesFromBrokenOnes) {
    const ChangedFixture changes[] = {
        {"sound", "ogg", "opus.ogg", 1, 0, Verdict::Whole},
        {"one wrong page", "ogg", "opus.ogg", 0.5, 1, Verdict::Damaged},
        {"two wrong pages", "ogg", "opus.ogg", 0.3, 9000, Verdict::Damaged},
        {"cut in a page", "ogg", "opus.ogg", 0.7, 0, Verdict::Damaged},
        {"sound", "midi", "scale.mid", 1, 0, Verdict::Whole},
        {"events overwritten", "midi", "scale.mid", 0.6, 20, Verdict::Damaged},
        {"without a checksum", "smaf", "ringtone.mmf", 1, 0, Verdict::Open},
        {"a chunk's size", "smaf", "ringtone.mmf", 0.0175, 6, Verdict::Damaged},
        {"sound", "au", "sound.au", 1, 0, Verdict::Whole},
        {"sound", "realmedia", "video.rm", 1, 0, Verdict::Whole},
        {"cut in a packet", "realmedia", "video.rm", 0.5, 0, Verdict::Damaged},
        {"sound", "riff", "tone.wav", 1, 0, Verdict::Whole},
        {"the size in the header", "riff", "tone.wav", 0.0007, 3, Verdict::Open},
        {"sound", "riff", "film.avi", 1, 0, Verdict::Whole},
        {"a frame's name and size", "riff", "film.avi", 0.5, 9000, Verdict::Damaged},
        {"sound", "riff", "turning.ani", 1, 0, Verdict::Whole},
        {"sound", "ebml", "video.mkv", 1, 0, Verdict::Whole},
        {"blocks overwritten", "ebml", "video.mkv", 0.6, 9000, Verdict::Damaged},
        {"recorded live", "ebml", "live.webm", 1, 0, Verdict::Open},
        {"sound", "flv", "video.flv", 1, 0, Verdict::Whole},
        {"cut in a tag", "flv", "video.flv", 0.5, 0, Verdict::Damaged},
    };
    ExpectVerdicts(changes);
}

// Notes down a walk at every piece that is read.
class Notebook final : public WalkNotes {
public:
    std::vector<std::int64_t> Last() override { return last; }
    bool AreDue() override { return true; }
    void Take(std::vector<std::int64_t> note) override { notes.push_back(std::move(note)); }

    std::vector<std::int64_t> last;
    std::vector<std::vector<std::int64_t>> notes;
};

// What the validator finds, and how many bytes it read.
std::pair<Finding, std::int64_t> Walked(const std::string& validatorName, const Bytes& file, Notebook& notebook) {
    const auto validator = std::ranges::find(Validators(), validatorName, &Validator::name);
    Medium medium(std::make_unique<FakeDevice>(file), 512);
    constexpr std::int64_t enough = std::int64_t{64} << 20;
    ReadAllowance allowance(enough);
    const Neighbours none;
    Place place(medium, 0, none, allowance);
    place.SetNotes(&notebook);
    const Finding finding = (*validator)->validate(place);
    return {finding, enough - allowance.Left()};
}

TEST(StreamValidators, GoOnWhereAStoppedWalkWasNoted) {
    const std::pair<const char*, const char*> streams[] = {{"transport", "stream.ts"}, {"program", "stream.vob"},
                                                           {"mpegaudio", "plain.mp3"}, {"ogg", "theora.ogg"},
                                                           {"ebml", "video.mkv"},      {"ebml", "live.webm"}};
    for (const auto& [validator, fixture] : streams) {
        SCOPED_TRACE(fixture);
        Bytes file;
        for (int i = 0; i < 8; ++i) {
            const Bytes part = Fixture(fixture);
            file.insert(file.end(), part.begin(), part.end());
        }
        Notebook first;
        const auto [finding, cost] = Walked(validator, file, first);
        ASSERT_FALSE(first.notes.empty());
        for (const std::vector<std::int64_t>& note : first.notes) {
            Notebook second;
            second.last = note;
            EXPECT_EQ(Walked(validator, file, second).first, finding);
            // A note from anywhere is not believed, and does no harm.
            for (std::size_t i = 0; i < note.size(); ++i) {
                second.last = note;
                second.last[i] = std::numeric_limits<std::int64_t>::min();
                EXPECT_EQ(Walked(validator, file, second).first, finding) << i;
                for (const std::int64_t number : {note[i] + 1, std::int64_t{8191}, std::int64_t{1} << 60}) {
                    second.last[i] = number;
                    EXPECT_NO_THROW(Walked(validator, file, second)) << i;
                }
            }
            const std::vector<std::int64_t> ends = {0, 2, 8191};
            for (const auto& part : {std::vector(note.begin(), note.end() - 1), ends}) {
                second.last = part;
                EXPECT_EQ(Walked(validator, file, second).first, finding);
            }
        }
        Notebook last;
        last.last = first.notes.back();
        if (first.notes.size() > 2) {
            EXPECT_LT(Walked(validator, file, last).second, cost);
        }
    }
}

TEST(StreamValidators, KnowHowWritersOfChunksMiscount) {
    Bytes wave = Fixture("tone.wav");
    const auto expectSize = [](const Bytes& file, const Bytes& behind, const char* what) {
        EXPECT_EQ(FindingOf("riff", file, behind).size, std::ssize(file)) << what;
    };
    wave[4] = static_cast<std::uint8_t>(wave[4] + 8);
    expectSize(wave, Pattern(70000), "the outermost header is counted");
    wave[4] = static_cast<std::uint8_t>(wave[4] - 12);
    expectSize(wave, Pattern(70000), "half of a header is not counted");

    wave[4] = static_cast<std::uint8_t>(wave[4] + 4 + 20);
    Bytes longer = wave;
    longer.resize(longer.size() + 20, 0x80);
    expectSize(longer, Bytes(5000), "samples behind the sound that only the outermost size counts");

    wave[4] = static_cast<std::uint8_t>(wave[4] - 20);
    Bytes text(9000, 'w');
    wave[4] = static_cast<std::uint8_t>(wave[4] + 100);
    expectSize(wave, text, "a stranger's text looks like a chunk");
    EXPECT_TRUE(FindingOf("riff", wave, text).isCertain);

    // Sound of odd length. With a comment, the form has a pad byte behind it.
    constexpr std::string_view bare("FORM\0\0\0\033AIFFCOMM\0\0\0\2\0\1SSND\0\0\0\5sound", 8 + 27);
    constexpr std::string_view remarked("FORM\0\0\0\045AIFFCOMT\0\0\0\2\0\0COMM\0\0\0\2\0\1SSND\0\0\0\5sound\0",
                                        8 + 37 + 1);
    for (const std::string_view form : {bare, remarked}) {
        expectSize(Bytes(form.begin(), form.end()), Bytes(5000), "a form of odd length");
    }
}

// Sizes that the writer would have gone back for. The index stands behind the frames.
TEST(StreamValidators, FollowTheFramesOfAnUnfinishedFilm) {
    Bytes film = Fixture("film.avi");
    constexpr std::string_view name = "movi";
    const auto frames = std::search(film.begin(), film.end(), name.begin(), name.end());
    std::fill_n(film.begin() + 4, 4, 0xFF);
    std::fill_n(frames - 4, 4, 0);
    const Finding finding = FindingOf("riff", film, Pattern(70000));
    EXPECT_TRUE(finding.isUnbroken);
    EXPECT_EQ(finding.size, std::ssize(film));
    // The medium ends in the first frame.
    const Bytes cut(film.begin(), frames + 4 + 8 + 9);
    EXPECT_EQ(FindingOf("riff", cut).size, std::ssize(cut));
    // A size that no frame has belongs to what lies behind the last one.
    constexpr std::string_view index = "idx1";
    film.erase(std::search(frames, film.end(), index.begin(), index.end()), film.end());
    EXPECT_EQ(FindingOf("riff", film, Bytes(70000, '2')).size, std::ssize(film));
}

// Live recordings may leave error correction out of their packets.
TEST(StreamValidators, FollowBarePacketsOfALiveRecording) {
    Bytes film = Fixture("film.wmv");
    const Bytes id{0xA1, 0xDC, 0xAB, 0x8C, 0x47, 0xA9, 0xCF, 0x11};
    const auto properties = std::search(film.begin(), film.end(), id.begin(), id.end());
    ASSERT_NE(properties, film.end());
    properties[88] = 1;
    const auto packetBytes = static_cast<std::size_t>(properties[92] | properties[93] << 8);
    const std::size_t first = LoadLittle<std::uint32_t>(film, 16) + 50;
    std::size_t end = first;
    for (; end + packetBytes <= film.size() && film[end] == 0x82; end += packetBytes) {
        const Bytes start{0x51, 0x5D, properties[92], properties[93]};
        std::ranges::copy(start, film.begin() + static_cast<std::ptrdiff_t>(end));
    }
    ASSERT_GT(end, first);
    film.resize(end);
    const Finding finding = FindingOf("asf", film, Pattern(70000));
    EXPECT_EQ(finding.verdict, Verdict::Open);
    EXPECT_EQ(finding.size, std::ssize(film));
}

TEST(StreamValidators, PacketsBeginLikeTheFirstOne) {
    Bytes film = Fixture("film.wmv");
    std::fill(film.begin() + std::ssize(film) / 2, film.end(), std::uint8_t{'t'});
    EXPECT_EQ(FindingOf("asf", film).verdict, Verdict::Damaged);
}

TEST(StreamValidators, FlashMayHideBytesBehindItsEndTag) {
    Bytes movie = Fixture("video.swf");
    const std::size_t tags = movie.size();
    movie.resize(tags + 100, 0x5A);
    ::test::PutNumber(movie, 4, movie.size(), 4, false);
    ExpectWhole("flash", movie, "hidden bytes");
    // A hole instead.
    std::fill(movie.begin() + static_cast<std::ptrdiff_t>(tags), movie.end(), std::uint8_t{0});
    EXPECT_EQ(FindingOf("flash", movie, Pattern(70000)).verdict, Verdict::Damaged);
}

TEST(StreamValidators, SoundsOfBothByteOrders) {
    Bytes sound = Fixture("sound.au");
    for (auto number = sound.begin(); number != sound.begin() + 24; number += 4) {
        std::reverse(number, number + 4);
    }
    ExpectWhole("au", sound, "little-endian");
}

TEST(StreamValidators, StopAtTheNextFileAndAtTheMediumsEnd) {
    const Bytes film = Fixture("video.flv");
    const Bytes half(film.begin(), film.begin() + 8 * 512);
    const Finding atNext = FindingOf("flv", half, Pattern(70000), {.starts = {3, 3 + 8}, .wholes = {}});
    EXPECT_EQ(atNext.verdict, Verdict::Truncated);
    EXPECT_EQ(atNext.size, 8 * 512);
    // A foreign byte sequence that looks like a long checksum or clock.
    const Bytes live = Fixture("live.webm");
    for (const Bytes& element : {Bytes{0xBF, 0x6B, 0x7C}, Bytes{0xE7, 0x6B, 0x7C}}) {
        Bytes behind = Pattern(70000);
        std::ranges::copy(element, behind.begin());
        EXPECT_EQ(FindingOf("ebml", live, behind).size, std::ssize(live));
    }
    // A recording whose writer never came back holds silence, and samples that look like a frame of MPEG audio.
    Bytes recording = Join({Fixture("tone.wav"), Bytes(101), Pattern(9000)});
    // As much as fits, less a page.
    std::ranges::copy(Bytes{0x24, 0xF0, 0xFF, 0x7F}, recording.begin() + 4);
    std::ranges::copy(Bytes{0x00, 0xF0, 0xFF, 0x7F}, recording.begin() + 40);
    recording[8 * 512] = recording[8 * 512 + 1] = 0xFF;
    for (const Bytes& behind : {Bytes(70000), Join({Bytes(1536 - recording.size() % 512), Fixture("display.icc")})}) {
        const auto next = static_cast<std::int64_t>(3 + recording.size() / 512 + 3);
        EXPECT_EQ(FindingOf("riff", recording, behind, {.starts = {3, 3 + 8, next}, .wholes = {}}).size,
                  std::ssize(recording));
    }
    const Finding atEnd = FindingOf("flv", half);
    EXPECT_EQ(atEnd.verdict, Verdict::Truncated);
    EXPECT_EQ(atEnd.size, 8 * 512);
}

}  // namespace

}  // namespace salvor
