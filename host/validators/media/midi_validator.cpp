#include <FileTypeCatalog.h>

#include <algorithm>
#include <array>
#include <cctype>

#include "frame/bytes/FieldReader.h"
#include "host/validators/broken.h"
#include "host/validators/validator.h"

namespace salvor {

namespace {

constexpr auto HeaderSignature = PatternOf("MThd");
constexpr auto TrackSignature = PatternOf("MTrk");
constexpr std::size_t ChunkHeaderBytes = 8;
constexpr std::size_t HeaderBytes = 14;
constexpr std::uint16_t LastFormat = 2;

// The largest chunk of another kind, which players skip.
constexpr std::uint32_t LargestForeignChunk = 0x1000000;

std::uint32_t VariableNumber(FieldReader& reader) {
    std::uint32_t value = 0;
    for (int i = 0; i < 4; ++i) {
        const std::uint8_t byte = reader.Byte();
        value = value << 7U | (byte & 0x7FU);
        if ((byte & 0x80U) == 0) {
            return value;
        }
    }
    reader.Break();
    return 0;
}

// How many bytes follow a channel's status.
int DataBytesOf(std::uint8_t status) {
    const std::uint8_t kind = status & 0xF0U;
    return kind == 0xC0 || kind == 0xD0 ? 1 : 2;
}

// Do events fill the track from `start` to its end mark at `end`?
bool EventsTile(Place& file, std::int64_t start, std::int64_t end) {
    constexpr std::uint8_t meta = 0xFF;
    constexpr std::uint8_t endOfTrack = 0x2F;
    FieldReader reader(file, start);
    std::uint8_t running = 0;
    while (!reader.IsBroken() && reader.Position() < end) {
        VariableNumber(reader);
        std::uint8_t byte = reader.Byte();
        int left = 0;
        if ((byte & 0x80U) == 0) {
            if (running == 0) {
                return false;
            }
            left = DataBytesOf(running) - 1;
        } else if (byte < 0xF0) {
            running = byte;
            left = DataBytesOf(byte);
        } else if (byte == meta) {
            const std::uint8_t type = reader.Byte();
            reader.Skip(VariableNumber(reader));
            if (type == endOfTrack) {
                return !reader.IsBroken() && reader.Position() == end;
            }
        } else if (byte == 0xF0 || byte == 0xF7) {
            reader.Skip(VariableNumber(reader));
        } else {
            return false;
        }
        for (; left > 0; --left) {
            if ((reader.Byte() & 0x80U) != 0) {
                return false;
            }
        }
    }
    return false;
}

bool BeginsMidi(ByteSpan head) {
    return head.size() >= HeaderBytes && StartsWith(head, HeaderSignature) && LoadBig<std::uint32_t>(head, 4) >= 6 &&
           LoadBig<std::uint32_t>(head, 4) <= 256 && LoadBig<std::uint16_t>(head, 8) <= LastFormat &&
           LoadBig<std::uint16_t>(head, 10) > 0;
}

Finding ValidateMidi(Place& file) {
    std::array<std::uint8_t, HeaderBytes> header{};
    if (!file.Copy(0, header)) {
        return {};
    }
    const int declared = LoadBig<std::uint16_t>(header, 10);
    std::int64_t at = static_cast<std::int64_t>(ChunkHeaderBytes) + LoadBig<std::uint32_t>(header, 4);
    bool eventsAreRight = true;
    for (int tracks = 0; tracks < declared;) {
        std::array<std::uint8_t, ChunkHeaderBytes> chunk{};
        const bool wasRead = file.Copy(at, chunk);
        const auto size = LoadBig<std::uint32_t>(chunk, 4);
        const bool isTrack = StartsWith(chunk, TrackSignature);
        const bool isForeign =
            std::all_of(chunk.begin(), chunk.begin() + 4, [](int c) { return std::isalnum(c) != 0; }) &&
            size <= LargestForeignChunk;
        if (!wasRead || !(isTrack || isForeign)) {
            return tracks == 0 ? Finding{}
                               : BrokenAt(file, at, wasRead ? at : at + static_cast<std::int64_t>(ChunkHeaderBytes),
                                          FileTypeIndex::Mid, "fewer tracks than declared");
        }
        const std::int64_t data = at + static_cast<std::int64_t>(ChunkHeaderBytes);
        const std::int64_t end = data + size;
        if (end > file.Limit()) {
            return BrokenAt(file, at, end, FileTypeIndex::Mid, "a track");
        }
        eventsAreRight = eventsAreRight && (!isTrack || EventsTile(file, data, end));
        tracks += isTrack ? 1 : 0;
        at = end;
    }
    if (!eventsAreRight) {
        return {Verdict::Damaged, at, FileTypeIndex::Mid, {}, "all tracks are there, the events of one break"};
    }
    return {Verdict::Whole, at, FileTypeIndex::Mid, {}, "as many tracks as declared, each to its end mark"};
}

constexpr StartSignature Starts[] = {{"MThd"}};

constexpr std::int32_t Types[] = {FileTypeIndex::Mid};

}  // namespace

/// Standard MIDI files. Source: Standard MIDI Files 1.0.
extern const Validator MidiValidator;
const Validator MidiValidator{
    .name = "midi", .starts = Starts, .begins = BeginsMidi, .validate = ValidateMidi, .types = Types};

}  // namespace salvor
