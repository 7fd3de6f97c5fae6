#pragma once

#include <cstdint>
#include <optional>

#include "host/validate/box.h"

namespace salvor {

/// How samples of a coding begin.
struct SampleCoding;

/// Looks at how the samples of a track begin, for codings that show it, to tell whether other bytes stand in their
/// place. Samples are shown in their order.
class SampleCheck {
public:
    /// By the track's sample descriptions; nothing if its coding shows nothing.
    static std::optional<SampleCheck> For(ByteWindow& file, const Box& descriptions);

    void Look(ByteWindow& file, std::int64_t offset, std::int64_t size);

    /// Have samples been found that cannot be what they should be?
    bool HasBroken() const { return firstBroken_ >= 0; }
    /// Where sound ones end behind which all looked at were broken; nothing where the last ones are sound.
    std::optional<std::int64_t> SoundEnd() const;

private:
    SampleCheck(const SampleCoding& coding, unsigned lengthBytes) : coding_(&coding), lengthBytes_(lengthBytes) {}
    bool IsRight(ByteWindow& file, std::int64_t offset, std::int64_t size);
    bool IsOfUnits(ByteWindow& file, std::int64_t offset, std::int64_t size) const;
    void Note(bool isRight, std::int64_t offset, std::int64_t size);

    const SampleCoding* coding_;
    // Of the number in front of each unit of a picture.
    unsigned lengthBytes_;
    // What the first samples have in common where samples say nothing else.
    std::uint32_t steadyBits_ = 0;
    std::int64_t looks_ = 0;
    // The last looks, newest in the lowest bit, ones where a sample was wrong.
    std::uint32_t history_ = 0;
    std::int64_t lookedUpTo_ = 0;
    std::int64_t soundEnd_ = 0;
    std::int64_t firstBroken_ = -1;
    int wrongAtStart_ = 0;
    bool isUseless_ = false;
};

}  // namespace salvor
