#include "host/validators/media/sample_check.h"

#include <algorithm>
#include <bit>

#include "frame/bytes/BytePattern.h"

namespace salvor {

/// Which bits of the first four bytes count, and how.
struct SampleCoding {
    enum class Rule : std::uint8_t {
        /// The masked bits have a fixed value.
        Bits,
        /// The masked bits are the same in almost all samples.
        Steady,
        /// The first number, masked, is the sample's size.
        Size,
        /// Units, each after its length, fill the sample.
        Units,
        /// Anything but zeros.
        Filled,
    };

    std::uint32_t type;
    Rule rule;
    std::uint32_t mask;
    std::uint32_t bits;
    // The box with the width of a unit's length in bytes, and its offset in the box.
    const char* configuration = nullptr;
    std::int64_t lengthOffset = 0;
};

namespace {

// Sources: ISO/IEC 14496-15 (AVC, HEVC), 14496-2 (MPEG-4), 10918-1 (JPEG); ITU-T H.263; 3GPP TS 26.101 (AMR);
// ETSI TS 102 366 (AC-3); SMPTE ST 2019-1 (VC-3); RFC 9639 (FLAC); Apple Lossless Audio Codec, "Magic Cookie";
// QuickTime File Format Specification (Animation, ProRes).
constexpr SampleCoding Codings[] = {
    {BoxTypeOf("avc1"), SampleCoding::Rule::Units, 0, 0, "avcC", 4},
    {BoxTypeOf("avc3"), SampleCoding::Rule::Units, 0, 0, "avcC", 4},
    {BoxTypeOf("hvc1"), SampleCoding::Rule::Units, 0, 0, "hvcC", 21},
    {BoxTypeOf("hev1"), SampleCoding::Rule::Units, 0, 0, "hvcC", 21},
    {BoxTypeOf("dvh1"), SampleCoding::Rule::Units, 0, 0, "hvcC", 21},
    {BoxTypeOf("mp4v"), SampleCoding::Rule::Bits, 0xFFFFFF00, 0x00000100},
    {BoxTypeOf("s263"), SampleCoding::Rule::Bits, 0xFFFFFC00, 0x00008000},
    {BoxTypeOf("h263"), SampleCoding::Rule::Bits, 0xFFFFFC00, 0x00008000},
    {BoxTypeOf("jpeg"), SampleCoding::Rule::Bits, 0xFFFFFF00, 0xFFD8FF00},
    {BoxTypeOf("mjpa"), SampleCoding::Rule::Bits, 0xFFFFFF00, 0xFFD8FF00},
    {BoxTypeOf("png "), SampleCoding::Rule::Bits, 0xFFFFFFFF, 0x89504E47},
    {BoxTypeOf("apcn"), SampleCoding::Rule::Size, 0xFFFFFFFF, 0},
    {BoxTypeOf("apch"), SampleCoding::Rule::Size, 0xFFFFFFFF, 0},
    {BoxTypeOf("apcs"), SampleCoding::Rule::Size, 0xFFFFFFFF, 0},
    {BoxTypeOf("apco"), SampleCoding::Rule::Size, 0xFFFFFFFF, 0},
    {BoxTypeOf("ap4h"), SampleCoding::Rule::Size, 0xFFFFFFFF, 0},
    {BoxTypeOf("rle "), SampleCoding::Rule::Size, 0x3FFFFFFF, 0},
    {BoxTypeOf("ac-3"), SampleCoding::Rule::Bits, 0xFFFF0000, 0x0B770000},
    {BoxTypeOf("ec-3"), SampleCoding::Rule::Bits, 0xFFFF0000, 0x0B770000},
    {BoxTypeOf("samr"), SampleCoding::Rule::Bits, 0x83000000, 0},
    {BoxTypeOf("sawb"), SampleCoding::Rule::Bits, 0x83000000, 0},
    // The kind and number of a frame's first element: one channel or a pair.
    {BoxTypeOf("mp4a"), SampleCoding::Rule::Steady, 0xFE000000, 0},
    {BoxTypeOf("fLaC"), SampleCoding::Rule::Bits, 0xFFFE0000, 0xFFF80000},
    {BoxTypeOf("AVdn"), SampleCoding::Rule::Bits, 0xFFFFFC00, 0x00000000},
    // The same, and 12 bits that are not used.
    {BoxTypeOf("alac"), SampleCoding::Rule::Steady, 0xFFFFE000, 0},
    {BoxTypeOf("Opus"), SampleCoding::Rule::Filled, 0, 0},
    {BoxTypeOf("av01"), SampleCoding::Rule::Filled, 0, 0},
    {BoxTypeOf("vp08"), SampleCoding::Rule::Filled, 0, 0},
    {BoxTypeOf("vp09"), SampleCoding::Rule::Bits, 0xC0000000, 0x80000000},
};

// How many consecutive samples are judged together, and how many wrong ones are more than chance. If so few bits are
// compared that some are right by chance, more must be wrong.
constexpr int Window = 8;
constexpr int WrongOfStrong = 1;
constexpr int WrongOfWeak = 5;
// The rule is dropped for a track whose first samples break it. If few bits are compared, one sample may differ: sound
// encoders write their name into the first.
constexpr std::int64_t TrialOfStrong = 1;
constexpr std::int64_t TrialOfWeak = 8;
constexpr int MostWrongInTrial = 1;
// If the first samples break the rule, so many tell whether another rule holds or none at all: then they are foreign
// bytes.
constexpr std::int64_t LooksAtForeign = 256;
constexpr std::int64_t FewestForeign = 24;

}  // namespace

std::optional<SampleCheck> SampleCheck::For(ByteWindow& file, const Box& descriptions) {
    constexpr std::int64_t listBytes = 8;
    const ByteSpan count = file.At(descriptions.content, static_cast<std::size_t>(listBytes));
    const bool isSingle = !count.empty() && LoadBig<std::uint32_t>(count, 4) == 1;
    const std::optional<Box> entry = isSingle ? ReadBox(file, descriptions.content + listBytes) : std::nullopt;
    if (!entry || entry->end > descriptions.end) {
        return std::nullopt;
    }
    const auto* const coding = std::ranges::find(Codings, entry->type, &SampleCoding::type);
    if (coding == std::end(Codings)) {
        return std::nullopt;
    }
    unsigned lengthBytes = 0;
    if (coding->rule == SampleCoding::Rule::Units) {
        const Pattern<4> name{
            static_cast<std::uint8_t>(coding->configuration[0]), static_cast<std::uint8_t>(coding->configuration[1]),
            static_cast<std::uint8_t>(coding->configuration[2]), static_cast<std::uint8_t>(coding->configuration[3])};
        const std::optional<std::int64_t> at = file.Find(BytePattern(name), entry->content, entry->end);
        const ByteSpan length = at ? file.At(*at + 4 + coding->lengthOffset, 1) : ByteSpan();
        if (length.empty()) {
            return std::nullopt;
        }
        lengthBytes = (length[0] & 3U) + 1;
    }
    return SampleCheck(*coding, lengthBytes);
}

void SampleCheck::Look(ByteWindow& file, std::int64_t offset, std::int64_t size) {
    // Far from the start, an occasional stretch is enough: fragments are large.
    constexpr std::int64_t all = std::int64_t{64} << 20;
    constexpr std::int64_t stretch = 0x100000;
    constexpr std::int64_t looked = 0x10000;
    constexpr std::int64_t leastBytes = 4;
    const bool isPassed = offset > all && offset % stretch >= looked;
    if ((isUseless_ && looks_ >= LooksAtForeign) || isPassed || size < leastBytes || offset < lookedUpTo_ ||
        offset > file.Limit() - size) {
        return;
    }
    lookedUpTo_ = offset;
    Note(IsRight(file, offset, size), offset, size);
}

void SampleCheck::Note(bool isRight, std::int64_t offset, std::int64_t size) {
    const bool isWeak = std::popcount(coding_->mask) < 8 &&
                        (coding_->rule == SampleCoding::Rule::Bits || coding_->rule == SampleCoding::Rule::Steady);
    ++looks_;
    rights_ += isRight ? 1 : 0;
    if (isUseless_) {
        return;
    }
    if (looks_ <= (isWeak ? TrialOfWeak : TrialOfStrong) && !isRight) {
        isUseless_ = ++wrongAtStart_ > (isWeak ? MostWrongInTrial : 0);
        return;
    }
    history_ = (history_ << 1U | (isRight ? 0U : 1U)) & ((1U << Window) - 1);
    if (std::popcount(history_) >= (isWeak ? WrongOfWeak : WrongOfStrong) && firstBroken_ < 0) {
        firstBroken_ = offset;
    }
    // A weak rule matches by chance now and then.
    if (isRight && (!isWeak || std::popcount(history_) < WrongOfWeak)) {
        soundEnd_ = offset + size;
    }
}

std::optional<std::int64_t> SampleCheck::SoundEnd() const {
    const bool isWrongToTheEnd = HasBroken() && soundEnd_ <= firstBroken_ && std::popcount(history_) >= WrongOfWeak;
    return isWrongToTheEnd ? std::optional(soundEnd_) : std::nullopt;
}

// The first bits of foreign bytes vary; those of another coding take a few values.
bool SampleCheck::IsBrokenFromTheStart() const {
    if (!isUseless_ || looks_ < FewestForeign) {
        return false;
    }
    constexpr std::int64_t chance = 8;
    constexpr std::int64_t few = 4;
    const bool isVaried = *std::ranges::max_element(firstBits_) * few < looks_;
    return silent_ * 2 > looks_ ||
           (isVaried && (coding_->rule == SampleCoding::Rule::Steady ||
                         (coding_->rule == SampleCoding::Rule::Units && rights_ * chance < looks_)));
}

bool SampleCheck::IsRight(ByteWindow& file, std::int64_t offset, std::int64_t size) {
    constexpr std::int64_t silent = 64;
    const ByteSpan some = file.At(offset, static_cast<std::size_t>(std::min(size, silent)));
    if (size >= silent && some.size() == silent && std::ranges::count(some, 0) == silent) {
        ++silent_;
        return false;
    }
    if (!some.empty() && looks_ < LooksAtForeign) {
        ++firstBits_[some[0] >> 1U];
    }
    if (coding_->rule == SampleCoding::Rule::Filled) {
        return true;
    }
    if (coding_->rule == SampleCoding::Rule::Units) {
        return IsOfUnits(file, offset, size);
    }
    const ByteSpan bytes = file.At(offset, sizeof(std::uint32_t));
    if (bytes.empty()) {
        return true;
    }
    const std::uint32_t masked = LoadBig<std::uint32_t>(bytes, 0) & coding_->mask;
    if (coding_->rule == SampleCoding::Rule::Steady) {
        // The first sample may hold the encoder's name.
        steadyBits_ = looks_ <= 1 ? masked : steadyBits_;
        return masked == steadyBits_;
    }
    return masked == (coding_->rule == SampleCoding::Rule::Size ? static_cast<std::uint32_t>(size) & coding_->mask
                                                                : coding_->bits);
}

bool SampleCheck::IsOfUnits(ByteWindow& file, std::int64_t offset, std::int64_t size) const {
    const std::int64_t end = offset + size;
    while (offset + lengthBytes_ < end) {
        const ByteSpan bytes = file.At(offset, lengthBytes_ + std::size_t{1});
        if (bytes.empty()) {
            return true;
        }
        std::int64_t length = 0;
        for (const std::uint8_t byte : bytes.first(lengthBytes_)) {
            length = length << 8U | byte;
        }
        // The first bit of a unit is 0.
        if (length == 0 || length > end - offset - lengthBytes_ || (bytes[lengthBytes_] & 0x80U) != 0) {
            return false;
        }
        offset += lengthBytes_ + length;
        file.Charge(lengthBytes_);
    }
    return offset == end;
}

}  // namespace salvor
