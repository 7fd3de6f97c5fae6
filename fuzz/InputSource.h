#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

#include "fuzz/Require.h"
#include "host/medium/medium_source.h"

/// An input as the bytes of a file or a medium. It outlives this.
class InputSource : public salvor::MediumSource {
public:
    explicit InputSource(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}
    std::int64_t Size() const override { return static_cast<std::int64_t>(bytes_.size()); }
    std::size_t ReadAt(std::int64_t offset, std::uint8_t* buffer, std::size_t length) override {
        Require(offset >= 0 && offset <= Size() && length <= bytes_.size() - static_cast<std::size_t>(offset),
                "only bytes that are there are read");
        std::copy_n(bytes_.begin() + offset, length, buffer);
        return length;
    }

private:
    std::span<const std::uint8_t> bytes_;
};
