#pragma once

#include <cstdint>

#include "frame/contract/ISectorSource.h"
#include "frame/contract/SectorBlock.h"
#include "frame/read/WorkMeter.h"

/// Passes all calls on to the host's source and charges a meter with the bytes asked for.
class MeteredSource final : public ISectorSource {
public:
    /// `inner` is not null.
    MeteredSource(ISectorSource* inner, std::int32_t sectorSize, WorkMeter& meter)
        : inner_(inner), sectorSize_(sectorSize), meter_(meter) {}

    std::int32_t ReadSectors(std::int64_t firstSector, std::uint8_t* buffer, std::int32_t count) override {
        meter_.Charge(std::int64_t{count} * sectorSize_);
        return inner_->ReadSectors(firstSector, buffer, count);
    }
    std::int32_t GetGeometry(SectorGeometry* geometry) override { return inner_->GetGeometry(geometry); }

private:
    ISectorSource* inner_;
    std::int32_t sectorSize_;
    WorkMeter& meter_;
};
