#pragma once

#include <cstdint>

#include "frame/contract/ISectorSource.h"
#include "frame/contract/SectorBlock.h"

/// What a candidate may cost, in bytes read or looked at.
class WorkMeter {
public:
    explicit WorkMeter(std::int64_t limit) : limit_(limit) {}

    void Charge(std::int64_t bytes) { used_ += bytes; }
    std::int64_t Used() const { return used_; }
    bool IsExhausted() const { return used_ >= limit_; }

private:
    std::int64_t limit_;
    std::int64_t used_ = 0;
};

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
