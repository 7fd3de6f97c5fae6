#pragma once

#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "host/medium/extent.h"
#include "host/medium/medium.h"
#include "host/medium/space.h"

namespace salvor {

/// Pieces of a medium, joined in order into a medium of their own, with zeros for holes and gaps.
class ExtentSource final : public MediumSource {
public:
    /// The medium outlives this. The extents are on it or are holes; there is at least one.
    ExtentSource(Medium& medium, const std::vector<Extent>& extents);
    /// The space has at least one piece, and the medium's sector size.
    ExtentSource(Medium& medium, std::shared_ptr<const Space> space) : medium_(medium), space_(std::move(space)) {}

    std::int64_t Size() const override { return space_->SizeInBytes(); }
    ImageFormat Format() const override { return medium_.Format(); }
    std::vector<std::string> Files() const override { return medium_.Files(); }
    std::int32_t SectorSize() const override { return medium_.SectorSize(); }
    std::size_t ReadAt(std::int64_t offset, std::uint8_t* buffer, std::size_t length) override;
    ByteRange NextData(std::int64_t offset) override;
    std::vector<int> Descriptors() const override { return medium_.Descriptors(); }

private:
    std::size_t ReadInside(const Space::Place& place, std::span<std::uint8_t> buffer);

    Medium& medium_;
    std::shared_ptr<const Space> space_;
};

}  // namespace salvor
