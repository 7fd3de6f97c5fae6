#pragma once

#include <array>
#include <cstdint>
#include <utility>

#include "frame/bytes/Bytes.h"

/// The key stream of the RC4 cipher, to be xored with the data.
class Rc4 {
public:
    /// The key has at least one byte.
    explicit Rc4(ByteSpan key) {
        for (std::size_t i = 0; i < state_.size(); ++i) {
            state_[i] = static_cast<std::uint8_t>(i);
        }
        std::uint8_t j = 0;
        for (std::size_t i = 0; i < state_.size(); ++i) {
            j = static_cast<std::uint8_t>(j + state_[i] + key[i % key.size()]);
            std::swap(state_[i], state_[j]);
        }
    }

    std::uint8_t Next() {
        ++i_;
        j_ = static_cast<std::uint8_t>(j_ + state_[i_]);
        std::swap(state_[i_], state_[j_]);
        return state_[static_cast<std::uint8_t>(state_[i_] + state_[j_])];
    }

private:
    std::array<std::uint8_t, 256> state_{};
    std::uint8_t i_ = 0;
    std::uint8_t j_ = 0;
};
