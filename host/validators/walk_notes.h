#pragma once

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <type_traits>
#include <utility>
#include <vector>

#include "host/validators/place.h"

namespace salvor {

/// Turns the fields of a walk into numbers, or sets them to such numbers. The numbers come from a file and may be
/// anything.
class WalkFields {
public:
    /// Collects numbers.
    WalkFields() = default;
    /// Sets fields, for a file of `limit` bytes.
    WalkFields(std::span<const std::int64_t> numbers, std::int64_t limit)
        : isSetting_(true), numbers_(numbers.begin(), numbers.end()), limit_(limit) {}

    /// An offset in the file.
    void Offset(std::int64_t& offset) { Take(offset, 0, limit_); }
    /// Never so large that adding a few of them overflows; a signed one may be -1.
    template <class Value>
    void Number(Value& number) {
        constexpr std::int64_t largest = std::int64_t{1} << 60;
        constexpr auto most = std::numeric_limits<Value>::max();
        Take(number, std::is_signed_v<Value> ? -1 : 0,
             std::cmp_less(most, largest) ? static_cast<std::int64_t>(most) : largest);
    }
    void Flag(bool& flag) { Take(flag, 0, 1); }
    template <std::size_t Size>
    void Bits(std::bitset<Size>& bits) {
        const std::bitset<Size> old = std::exchange(bits, {});
        std::size_t count = old.count();
        Take(count, 0, Size);
        for (std::size_t bit = 0; count > 0 && isRight_; ++bit, --count) {
            while (!isSetting_ && !old[bit]) {
                ++bit;
            }
            Take(bit, 0, Size - 1);
            if (isRight_) {
                bits.set(bit);
            }
        }
    }

    /// False if numbers were not right, or not as many as the fields.
    bool AreRight() const { return isRight_ && (!isSetting_ || at_ == numbers_.size()); }
    bool IsSetting() const { return isSetting_; }
    std::vector<std::int64_t> TakeNumbers() { return std::move(numbers_); }

private:
    template <class Value>
    void Take(Value& value, std::int64_t least, std::int64_t most) {
        if (!isSetting_) {
            numbers_.push_back(static_cast<std::int64_t>(value));
        } else if (at_ < numbers_.size() && numbers_[at_] >= least && numbers_[at_] <= most) {
            value = static_cast<Value>(numbers_[at_++]);
        } else {
            isRight_ = false;
        }
    }

    bool isSetting_ = false;
    std::vector<std::int64_t> numbers_;
    std::size_t at_ = 0;
    std::int64_t limit_ = 0;
    bool isRight_ = true;
};

/// Lets a walk begin where a stopped run noted it last. Its `EachField` shows all that changes on the way to a
/// `WalkFields`.
template <class Walk>
void GoOnFromNote(Place& file, Walk& walk) {
    const std::vector<std::int64_t> noted =
        file.Notes() == nullptr ? std::vector<std::int64_t>() : file.Notes()->Last();
    if (noted.empty()) {
        return;
    }
    WalkFields fresh;
    walk.EachField(fresh);
    WalkFields fields(noted, file.Limit());
    walk.EachField(fields);
    if (!fields.AreRight()) {
        WalkFields again(fresh.TakeNumbers(), file.Limit());
        walk.EachField(again);
    }
}

/// To be called at every step of a walk.
template <class Walk>
void NoteWalk(Place& file, Walk& walk) {
    if (WalkNotes* const notes = file.DueNotes()) {
        WalkFields fields;
        walk.EachField(fields);
        notes->Take(fields.TakeNumbers());
    }
}

}  // namespace salvor
