#include "bench/Streams.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <limits>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>

namespace bench {

namespace {

// Uniform numbers from a fixed seed. The standard fixes this generator's output, but not that of its distributions.
class Dice {
public:
    std::uint64_t Next() { return generator_(); }
    std::size_t Below(std::size_t bound) { return Next() % bound; }
    char LowerLetter() { return static_cast<char>('a' + Below(26)); }

private:
    std::mt19937_64 generator_{1};
};

std::string MakeWord(Dice& dice) {
    std::string word(1 + dice.Below(10), ' ');
    std::ranges::generate(word, [&dice] { return dice.LowerLetter(); });
    if (dice.Below(8) == 0) {
        word[0] = static_cast<char>(word[0] - 'a' + 'A');
    }
    return word;
}

std::string MakeText() {
    Dice dice;
    std::string text;
    std::size_t lineStart = 0;
    while (text.size() < StreamBytes) {
        text += MakeWord(dice);
        if (dice.Below(10) == 0) {
            text += ",;.:"[dice.Below(4)];
        }
        const bool lineIsFull = text.size() - lineStart > 72;
        text += lineIsFull ? '\n' : ' ';
        if (lineIsFull) {
            lineStart = text.size();
        }
    }
    return text;
}

std::string MakeWideText() {
    const std::string narrow = MakeText();
    std::string wide;
    wide.reserve(2 * narrow.size());
    for (const char c : narrow) {
        wide += c;
        wide += '\0';
    }
    return wide;
}

std::string MakeMarkup() {
    Dice dice;
    std::string text;
    while (text.size() < StreamBytes) {
        const std::string element = MakeWord(dice);
        text.append("<").append(element).append(" ").append(MakeWord(dice)).append("=\"").append(MakeWord(dice));
        text.append("\">").append(MakeWord(dice)).append("</").append(element).append(">\n");
    }
    return text;
}

Bytes MakeRandom() {
    Dice dice;
    Bytes bytes(StreamBytes);
    for (std::size_t i = 0; i < bytes.size(); i += sizeof(std::uint64_t)) {
        const std::uint64_t word = dice.Next();
        std::memcpy(bytes.data() + i, &word, sizeof(word));
    }
    return bytes;
}

Bytes MakeCards() {
    std::ifstream file(SALVOR_SAMPLES_DIR "/card.img", std::ios::binary);
    const std::string card{std::istreambuf_iterator<char>(file), {}};
    if (card.empty()) {
        throw std::runtime_error("cannot read samples/card.img");
    }
    Bytes bytes;
    while (bytes.size() < StreamBytes) {
        bytes.insert(bytes.end(), card.begin(), card.end());
    }
    return bytes;
}

Bytes BytesOf(const std::string& text) { return {text.begin(), text.end()}; }

Bytes MakeStream(Content content) {
    switch (content) {
        case Content::Zeros:
            return Bytes(StreamBytes);
        case Content::Random:
            return MakeRandom();
        case Content::Text:
            return BytesOf(MakeText());
        case Content::WideText:
            return BytesOf(MakeWideText());
        case Content::Markup:
            return BytesOf(MakeMarkup());
        case Content::Card:
            return MakeCards();
    }
    return {};
}

}  // namespace

std::string_view NameOf(Content content) {
    switch (content) {
        case Content::Zeros:
            return "zeros";
        case Content::Random:
            return "random";
        case Content::Text:
            return "text";
        case Content::WideText:
            return "utf16";
        case Content::Markup:
            return "markup";
        case Content::Card:
            return "card";
    }
    return "";
}

const Bytes& StreamOf(Content content) {
    // One at a time: all of them would take half a gigabyte.
    static std::optional<Content> held;
    static Bytes stream;
    if (held != content) {
        stream = MakeStream(content);
        stream.resize(StreamBytes);
        held = content;
    }
    return stream;
}

std::int32_t RepeatingSource::ReadSectors(std::int64_t firstSector, std::uint8_t* buffer, std::int32_t count) {
    const std::size_t sectors = bytes_.size() / SectorBytes;
    auto sector = static_cast<std::size_t>(firstSector - 1) % sectors;
    for (auto left = static_cast<std::size_t>(count); left > 0;) {
        const std::size_t run = std::min(left, sectors - sector);
        std::memcpy(buffer, bytes_.data() + sector * SectorBytes, run * SectorBytes);
        buffer += run * SectorBytes;
        left -= run;
        sector = 0;
    }
    return 1;
}

std::int32_t RepeatingSource::GetGeometry(SectorGeometry* geometry) {
    *geometry = {SectorBytes, std::numeric_limits<std::int64_t>::max() / SectorBytes};
    return 1;
}

std::int32_t FiniteSource::ReadSectors(std::int64_t firstSector, std::uint8_t* buffer, std::int32_t count) {
    const std::size_t from = std::min(static_cast<std::size_t>(firstSector - 1) * SectorBytes, bytes_.size());
    const std::size_t wanted = static_cast<std::size_t>(count) * SectorBytes;
    const std::size_t held = std::min(wanted, bytes_.size() - from);
    std::memcpy(buffer, bytes_.data() + from, held);
    std::memset(buffer + held, 0, wanted - held);
    return 1;
}

std::int32_t FiniteSource::GetGeometry(SectorGeometry* geometry) {
    *geometry = {SectorBytes, static_cast<std::int64_t>(bytes_.size() / SectorBytes)};
    return 1;
}

}  // namespace bench
