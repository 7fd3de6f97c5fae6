#include <FileTypeCatalog.h>

#include <algorithm>
#include <bitset>
#include <optional>
#include <string_view>

#include "host/validators/broken.h"
#include "host/validators/validator.h"
#include "host/validators/walk_notes.h"

namespace salvor {

namespace {

using namespace std::string_view_literals;

constexpr std::uint8_t SyncByte = 0x47;
constexpr std::int64_t PacketBytes = 188;
constexpr std::size_t HeaderBytes = 4;
constexpr std::uint32_t NullPacket = 0x1FFF;

// How packets are laid out in a file.
struct Layout {
    // Bytes from one packet to the next, including a time stamp or parity.
    std::int64_t step;
    // Bytes of the time stamp before a packet.
    std::int64_t stampBytes;
    const char* extension;
};

// Bare; with a time stamp, as cameras and disc recorders write them; with parity, as broadcast; with both.
constexpr Layout Layouts[] = {{PacketBytes, 0, "ts"}, {192, 4, ""}, {204, 0, "ts"}, {208, 4, "ts"}, {208, 0, "ts"}};

struct Packet {
    std::uint32_t program;
    bool beginsUnit;
    bool isSound;
};

std::optional<Packet> ReadPacket(ByteSpan bytes) {
    if (bytes.size() < HeaderBytes || bytes[0] != SyncByte) {
        return std::nullopt;
    }
    const unsigned control = bytes[3] >> 4U & 3U;
    return Packet{.program = (bytes[1] & 0x1FU) << 8U | bytes[2],
                  .beginsUnit = (bytes[1] & 0x40U) != 0,
                  // Value 0 is reserved, but null packets may have any.
                  .isSound = control != 0 || ((bytes[1] & 0x1FU) == 0x1F && bytes[2] == 0xFF)};
}

// The checksum of a table including its own checksum, which makes the result 0: polynomial 04C11DB7h, all ones at
// first.
std::uint32_t TableChecksum(ByteSpan table) {
    std::uint32_t sum = 0xFFFFFFFF;
    for (const std::uint8_t byte : table) {
        sum ^= std::uint32_t{byte} << 24U;
        for (int bit = 0; bit < 8; ++bit) {
            sum = (sum << 1U) ^ ((sum & 0x80000000U) != 0 ? 0x04C11DB7U : 0U);
        }
    }
    return sum;
}

// The table in a packet that begins one, from its identifier to its checksum, as far as it is in this packet.
ByteSpan TableIn(ByteSpan packet) {
    if (packet.empty()) {
        return {};
    }
    std::size_t at = HeaderBytes;
    if ((packet[3] & 0x20U) != 0) {
        at += std::size_t{1} + packet[at];
    }
    at += at < packet.size() ? std::size_t{1} + packet[at] : 0;
    if (at + 8 > packet.size() || (packet[at + 1] & 0xC0U) != 0x80) {
        return {};
    }
    const std::size_t length = std::size_t{3} + ((packet[at + 1] & 0xFU) << 8U | packet[at + 2]);
    return packet.subspan(at, std::min(length, packet.size() - at));
}

// True if a packet of program 0 has the list of programs. If the list goes on in the next packet, its checksum is not
// checked.
bool HoldsProgramList(ByteSpan packet) {
    // Table id 0, entries of 4 bytes between 5 bytes and a checksum.
    const ByteSpan table = TableIn(packet);
    if (table.empty() || table[0] != 0) {
        return false;
    }
    const unsigned length = (table[1] & 0xFU) << 8U | table[2];
    return length >= 9 && length <= 1021 && (length - 9) % 4 == 0 &&
           (table.size() < length + 3 || TableChecksum(table) == 0);
}

class TransportWalk {
public:
    TransportWalk(Place& file, const Layout& layout) : file_(file), layout_(layout) {}

    // A list of programs in the first packet is enough for short streams.
    bool Begins() {
        const std::optional<Packet> first = PacketAt(0);
        const bool hasListFirst = first && first->program == 0 && first->beginsUnit &&
                                  HoldsProgramList(file_.At(layout_.stampBytes, static_cast<std::size_t>(PacketBytes)));
        const int packets = hasListFirst ? PacketsBehindList : CheckedPackets;
        for (int packet = 0; packet < packets; ++packet) {
            if (!PacketAt(packet * layout_.step)) {
                return false;
            }
        }
        return true;
    }

    Finding Run() {
        GoOnFromNote(file_, *this);
        for (std::optional<Packet> packet = PacketAt(end_); packet && IsOfStream(*packet) && !file_.IsExhausted();
             packet = PacketAt(end_)) {
            NoteWalk(file_, *this);
            Take(*packet);
            // The stream may go on after packets that were overwritten.
            if (!PacketAt(end_)) {
                Resume();
            }
        }
        if (!hasProgramList_) {
            return {};
        }
        if (hasGap_) {
            return Say(Verdict::Damaged, end_, "packets in the middle have no sync byte");
        }
        if (end_ + layout_.step > file_.Limit() && end_ < file_.Limit() && HasSyncAt(end_)) {
            return Say(Verdict::Truncated, file_.Limit(), "its last packet goes on past the medium's end");
        }
        if (const std::int64_t next = file_.NextStart(end_ - layout_.step + 1); next < end_) {
            return Say(Verdict::Truncated, next, "another file begins in its last packet");
        }
        Finding finding = Unbroken(Say(Verdict::Open, end_, "packets tile it; nothing says which is the last"));
        finding.isCertain = hasProgramList_;
        return finding;
    }

    void EachField(WalkFields& fields) {
        fields.Offset(end_);
        fields.Bits(programs_);
        fields.Bits(tables_);
        fields.Flag(hasProgramList_);
        fields.Flag(hasGap_);
    }

private:
    static constexpr int CheckedPackets = 10;
    static constexpr int PacketsBehindList = 3;
    static constexpr int ResumingPackets = 5;
    static constexpr std::int64_t LongestGap = 0x4000;

    bool HasSyncAt(std::int64_t offset) {
        const ByteSpan bytes = file_.At(offset + layout_.stampBytes, 1);
        return !bytes.empty() && bytes[0] == SyncByte;
    }

    std::optional<Packet> PacketAt(std::int64_t offset) {
        return offset + layout_.step > file_.Limit() ? std::nullopt
                                                     : ReadPacket(file_.At(offset + layout_.stampBytes, HeaderBytes));
    }

    // After the end, a byte may look like the sync byte of a packet with an identifier that has not occurred.
    bool IsOfStream(const Packet& packet) {
        const bool isKnown = packet.isSound && programs_[packet.program];
        return isKnown || end_ == 0 || end_ + layout_.step >= file_.Limit() || HasSyncAt(end_ + layout_.step);
    }

    void Take(const Packet& packet) {
        programs_.set(packet.program);
        if (packet.beginsUnit && (packet.program == 0 || tables_[packet.program])) {
            const ByteSpan bytes = file_.At(end_ + layout_.stampBytes, static_cast<std::size_t>(PacketBytes));
            hasProgramList_ = hasProgramList_ || (packet.program == 0 && HoldsProgramList(bytes));
            NoteListed(TableIn(bytes));
        }
        end_ += layout_.step;
    }

    // The list of programs names the packets with each program's description, and a description the packets of its
    // streams.
    void NoteListed(ByteSpan table) {
        constexpr std::uint8_t listOfPrograms = 0;
        constexpr std::uint8_t description = 2;
        constexpr std::size_t checksumBytes = 4;
        const auto number = [&table](std::size_t at) {
            return (table[at] & 0x1FU) << 8U | table[at + 1];
        };
        const std::size_t end = table.size() < checksumBytes ? 0 : table.size() - checksumBytes;
        if (end > 8 && table[0] == listOfPrograms) {
            for (std::size_t at = 8; at + 4 <= end; at += 4) {
                tables_.set(number(at + 2));
            }
        } else if (end > 12 && table[0] == description) {
            constexpr unsigned lengthBits = 0xFFF;
            for (std::size_t at = 12 + (LoadBig<std::uint16_t>(table, 10) & lengthBits); at + 5 <= end;
                 at += 5 + (LoadBig<std::uint16_t>(table, at + 3) & lengthBits)) {
                programs_.set(number(at + 1));
            }
        }
    }

    void Resume() {
        const std::int64_t stop = std::min(end_ + LongestGap, file_.Limit() - ResumingPackets * layout_.step);
        for (std::int64_t at = end_ + layout_.step; at < stop; at += layout_.step) {
            int packets = 0;
            for (; packets < ResumingPackets; ++packets) {
                const std::optional<Packet> packet = PacketAt(at + packets * layout_.step);
                if (!packet || !packet->isSound || !programs_[packet->program]) {
                    break;
                }
            }
            if (packets == ResumingPackets) {
                end_ = at;
                hasGap_ = true;
                return;
            }
        }
    }

    Finding Say(Verdict verdict, std::int64_t size, const std::string& why) const {
        return {verdict, size, FileTypeIndex::Mts, layout_.extension, why};
    }

    Place& file_;
    const Layout& layout_;
    std::int64_t end_ = 0;
    // Identifiers that have occurred or are listed.
    std::bitset<NullPacket + 1> programs_;
    // Identifiers of packets with descriptions of programs.
    std::bitset<NullPacket + 1> tables_;
    bool hasProgramList_ = false;
    bool hasGap_ = false;
};

bool BeginsTransportStream(ByteSpan head) {
    return std::ranges::any_of(Layouts, [head](const Layout& layout) {
        const auto first = static_cast<std::size_t>(layout.stampBytes);
        const auto second = static_cast<std::size_t>(layout.stampBytes + layout.step);
        return head.size() > second && head[first] == SyncByte && head[second] == SyncByte;
    });
}

Finding ValidateTransportStream(Place& file) {
    for (const Layout& layout : Layouts) {
        TransportWalk walk(file, layout);
        if (walk.Begins()) {
            return walk.Run();
        }
    }
    return {};
}

// A first packet that begins the list of programs or, from some writers, the description of the services, with any
// counter and not scrambled; the time stamp may precede it. A sync byte alone would not be a signature.
constexpr std::string_view ProgramsFirst = "\x47\x40\0\x10"sv;
constexpr std::string_view ServicesFirst = "\x47\x40\x11\x10"sv;
constexpr std::string_view FirstPacketMask = "\xFF\xFF\xFF\xD0"sv;
constexpr StartSignature Starts[] = {{ProgramsFirst, 0, FirstPacketMask},
                                     {ServicesFirst, 0, FirstPacketMask},
                                     {ProgramsFirst, 4, FirstPacketMask},
                                     {ServicesFirst, 4, FirstPacketMask}};

constexpr std::int32_t Types[] = {FileTypeIndex::Mts};

}  // namespace

/// MPEG transport streams. Source: ISO/IEC 13818-1, sections 2.4.3 and 2.4.4.
extern const Validator TransportStreamValidator;
const Validator TransportStreamValidator{.name = "transport",
                                         .starts = Starts,
                                         .begins = BeginsTransportStream,
                                         .validate = ValidateTransportStream,
                                         .types = Types};

}  // namespace salvor
