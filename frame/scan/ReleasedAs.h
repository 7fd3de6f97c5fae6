#pragma once

#include <cstdint>
#include <memory>

#include "frame/contract/IRawFileType.h"

/// Destroys a scanner as what it is, a `Self`, since the contract's destructor is not virtual everywhere. `Base` is the
/// interface or derives from it.
template <class Self, class Base = IRawFileType>
class ReleasedAs : public Base {
public:
    using Base::Base;

    void Release() override { delete static_cast<Self*>(this); }

#if defined(RAWFILETYPES_SLOT_ZERO_IS_FUNCTION)
    void Destroy(std::uint32_t flags) override {
        if ((flags & 1U) != 0) {
            this->Release();
        } else {
            std::destroy_at(static_cast<Self*>(this));
        }
    }
#endif
};
