#pragma once

#include <cstdint>

#include "frame/contract/IRawFileTypeFactory.h"

/// The factory behind `GetRawFileTypeFactory`.
class KRawFileTypeFactory final : public IRawFileTypeFactory {
public:
    std::int32_t GetCount() override;
    IRawFileType* Create(std::int32_t index) override;
};
