#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "host/validators/media/box.h"

namespace salvor {

/// How the samples of a codec begin.
struct SampleCoding;

/// Checks the first bytes of a track's samples, for codecs with a pattern there, to find overwritten samples. Samples
/// are shown in order.
class SampleCheck {
public:
    /// A check for the track's codec, from its sample descriptions; nothing if the codec has no such pattern.
    static std::optional<SampleCheck> For(ByteWindow& file, const Box& descriptions);

    void Look(ByteWindow& file, std::int64_t offset, std::int64_t size);

    /// Have any overwritten samples been found?
    bool HasBroken() const { return firstBroken_ >= 0 || IsBrokenFromTheStart(); }
    /// The end of the last sound sample, if all samples checked after it were broken; else nothing.
    std::optional<std::int64_t> SoundEnd() const;

private:
    SampleCheck(const SampleCoding& coding, unsigned lengthBytes) : coding_(&coding), lengthBytes_(lengthBytes) {}
    bool IsRight(ByteWindow& file, std::int64_t offset, std::int64_t size);
    bool IsOfUnits(ByteWindow& file, std::int64_t offset, std::int64_t size) const;
    bool IsBrokenFromTheStart() const;
    void Note(bool isRight, std::int64_t offset, std::int64_t size);

    const SampleCoding* coding_;
    // The width in bytes of the number before each unit of a picture.
    unsigned lengthBytes_;
    // The bits that the first samples have in common, for codecs without another pattern.
    std::uint32_t steadyBits_ = 0;
    std::int64_t looks_ = 0;
    // The results of the last looks, newest in the lowest bit; 1 for a wrong sample.
    std::uint32_t history_ = 0;
    std::int64_t lookedUpTo_ = 0;
    std::int64_t soundEnd_ = 0;
    std::int64_t firstBroken_ = -1;
    int wrongAtStart_ = 0;
    bool isUseless_ = false;
    std::int64_t rights_ = 0;
    // Samples that begin with zeros alone.
    std::int64_t silent_ = 0;
    // How often each value of the first seven bits was seen.
    std::array<std::uint16_t, 128> firstBits_{};
};

}  // namespace salvor
