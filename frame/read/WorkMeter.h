#pragma once

#include <cstdint>

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
