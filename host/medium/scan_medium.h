#pragma once

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "host/medium/extent_source.h"
#include "host/medium/medium.h"
#include "host/medium/space.h"

namespace salvor {

/// An image, and the part of it that is scanned: all, or joined pieces.
class ScanMedium {
public:
    /// An object without an image.
    ScanMedium() = default;
    /// `policy` applies to the image.
    explicit ScanMedium(std::unique_ptr<Medium> image, FailurePolicy policy = {})
        : image_(std::move(image)), policy_(std::move(policy)) {}

    /// Scans only this part of the image from now on; all of it if null.
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
    /// The medium that scanning and validating see; they count its sectors.
    Medium& Scanned() const { return joined_ ? *joined_ : *image_; }
    /// Null if all is scanned.
    const std::shared_ptr<const Space>& Joins() const { return space_; }
    /// The sector of the image for this sector of what is scanned.
    std::int64_t OnImage(std::int64_t sector) const { return space_ ? space_->OnMedium(sector) : sector; }
    std::vector<SectorRange> OnImage(const std::vector<SectorRange>& ranges) const {
        return space_ ? space_->OnMedium(ranges) : ranges;
    }

    /// Notes for the image the sectors that could not be read in the scanned part.
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
