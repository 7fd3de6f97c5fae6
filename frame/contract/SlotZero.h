#pragma once

#include <cstdint>

// Slot 0 of an interface destroys the object. Where compilers have the layout of Windows, that is a virtual destructor.
// mingw's compilers would give such a destructor two slots and number all others one too high; for them slot 0 is a
// function that does the same, and an object can only be destroyed as what it is. Elsewhere a host comes from a
// compiler with the library's own layout, and the destructor is what it seems.
#if defined(_WIN32) && !defined(_MSC_VER)
#define RAWFILETYPES_SLOT_ZERO_IS_FUNCTION

/// `Destroy` destroys the object and, when bit 0 of `flags` is set, frees its memory. It does nothing for objects that
/// were not created for the caller.
#define RAWFILETYPES_SLOT_ZERO(Interface)            \
    virtual void Destroy(std::uint32_t /*flags*/) {} \
                                                     \
protected:                                           \
    ~Interface() = default;                          \
                                                     \
public:
#else
#define RAWFILETYPES_SLOT_ZERO(Interface) virtual ~Interface() = default;
#endif
