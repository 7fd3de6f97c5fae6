#pragma once

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "host/medium/extent_source.h"
#include "host/medium/medium.h"
#include "host/medium/space.h"

namespace salvor {

/// An image and what of it is scanned: all, or pieces that are joined.
class ScanMedium {
public:
    /// Without an image.
    ScanMedium() = default;
    /// `policy` is that of the image.
    explicit ScanMedium(std::unique_ptr<Medium> image, FailurePolicy policy = {})
        : image_(std::move(image)), policy_(std::move(policy)) {}

    /// From now on only this part of the image is scanned; all of it if null.
    void Join(std::shared_ptr<const Space> space) {
        space_ = std::move(space);
        joined_ = nullptr;
        if (space_) {
            joined_ = std::make_unique<Medium>(std::make_unique<ExtentSource>(*image_, space_), image_->SectorSize(),
                                               policy_);
            joined_->NoteUnreadable(SpaceIndex(*space_).InSpace(image_->Unreadable().Ranges()));
        }
    }

    Medium& Image() const { return *image_; }
    /// The medium whose sectors scanning and validating count.
    Medium& Scanned() const { return joined_ ? *joined_ : *image_; }
    /// Null for all.
    const std::shared_ptr<const Space>& Joins() const { return space_; }
    /// The sector of the image that is this one of what is scanned.
    std::int64_t OnImage(std::int64_t sector) const { return space_ ? space_->OnMedium(sector) : sector; }
    std::vector<SectorRange> OnImage(const std::vector<SectorRange>& ranges) const {
        return space_ ? space_->OnMedium(ranges) : ranges;
    }

    /// Notes for the image which sectors the scanned part could not read.
    void ShareUnreadable() const {
        if (joined_) {
            image_->NoteUnreadable(OnImage(joined_->Unreadable().Ranges()));
        }
    }

private:
    std::unique_ptr<Medium> image_;
    FailurePolicy policy_;
    std::shared_ptr<const Space> space_;
    std::unique_ptr<Medium> joined_;
};

}  // namespace salvor
