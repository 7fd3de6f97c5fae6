#pragma once

#include <span>
#include <vector>

#include "host/medium/extent.h"
#include "host/medium/medium.h"

namespace salvor {

/// Extents of a medium, joined in order as a medium of their own, with the zeros of holes.
class ExtentSource final : public MediumSource {
public:
    /// The medium outlives this. The extents lie on it or are holes; there is one at least.
    ExtentSource(Medium& medium, std::vector<Extent> extents);

    std::int64_t Size() const override { return starts_.back(); }
    std::int32_t SectorSize() const override { return medium_.SectorSize(); }
    std::size_t ReadAt(std::int64_t offset, std::uint8_t* buffer, std::size_t length) override;

private:
    std::size_t ReadInside(std::size_t index, std::int64_t offset, std::span<std::uint8_t> buffer);

    Medium& medium_;
    std::vector<Extent> extents_;
    // Offset of each extent's first byte; the last one is the size of all.
    std::vector<std::int64_t> starts_{0};
};

}  // namespace salvor
