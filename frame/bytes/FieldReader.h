#pragma once

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <cstdint>

#include "frame/bytes/ByteWindow.h"
#include "frame/bytes/Bytes.h"

/// Reads the fields of a file one after another. Once a field cannot be read, the reader is broken and gives 0 from
/// there on, so a walk can test once for several fields.
class FieldReader {
public:
    /// `position` counts from the file's start, in bytes. The window outlives the reader.
    FieldReader(ByteWindow& file, std::int64_t position) : file_(file), position_(position) {}

    std::int64_t Position() const { return position_; }
    bool IsBroken() const { return isBroken_; }
    /// Marks the reader as broken, for a field with an impossible value.
    void Break() { isBroken_ = true; }

    std::uint8_t Byte() { return Little<std::uint8_t>(); }

    template <std::unsigned_integral T>
    T Little() {
        const ByteSpan bytes = Take(sizeof(T));
        return bytes.empty() ? T{0} : LoadLittle<T>(bytes, 0);
    }

    template <std::unsigned_integral T>
    T Big() {
        const ByteSpan bytes = Take(sizeof(T));
        return bytes.empty() ? T{0} : LoadBig<T>(bytes, 0);
    }

    /// The next bytes, 1 to `ByteWindow::PieceBytes`; empty if not all of them can be shown. Valid until the next call.
    ByteSpan Take(std::size_t length) {
        file_.Charge(FieldWork);
        const ByteSpan bytes = isBroken_ ? ByteSpan() : file_.At(position_, length);
        isBroken_ = bytes.empty();
        position_ += static_cast<std::int64_t>(bytes.size());
        return bytes;
    }

    /// Steps over bytes without looking at them; they too must lie before the window's limit.
    void Skip(std::uint64_t length) {
        const std::int64_t left = std::max<std::int64_t>(file_.Limit() - position_, 0);
        isBroken_ = isBroken_ || length > static_cast<std::uint64_t>(left);
        position_ += isBroken_ ? 0 : static_cast<std::int64_t>(length);
    }

private:
    // Cost of reading a field, in bytes that could be read in that time.
    static constexpr std::int64_t FieldWork = 32;

    ByteWindow& file_;
    std::int64_t position_;
    bool isBroken_ = false;
};
