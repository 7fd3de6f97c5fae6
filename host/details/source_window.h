#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "frame/bytes/ByteWindow.h"
#include "host/medium/medium_source.h"

namespace salvor {

/// Shows a source, which outlives this, to the readers of formats, up to a bound on the bytes read.
class SourceWindow final : public ByteWindow {
public:
    explicit SourceWindow(MediumSource& source) : ByteWindow(source.Size()), source_(source) {}

    void Charge(std::int64_t bytes) override { left_ -= bytes; }
    bool IsExhausted() const override { return left_ < 0; }

private:
    ByteSpan LoadPiece(std::int64_t offset, std::size_t /*wanted*/, std::size_t length) override {
        Charge(static_cast<std::int64_t>(length));
        if (IsExhausted()) {
            return {};
        }
        piece_.resize(length);
        return ByteSpan(piece_).first(source_.ReadAt(offset, piece_.data(), length));
    }

    MediumSource& source_;
    std::vector<std::uint8_t> piece_;
    std::int64_t left_ = std::int64_t{256} << 20;
};

}  // namespace salvor
