#pragma once

#include <cstdint>

#include "IRawFileType.h"
#include "SlotZero.h"

#if defined(_WIN32)
#if defined(RAWFILETYPES_BUILD)
#define RAWFILETYPES_EXPORT __declspec(dllexport)
#else
#define RAWFILETYPES_EXPORT __declspec(dllimport)
#endif
#else
#define RAWFILETYPES_EXPORT __attribute__((visibility("default")))
#endif

/// Creates scanners by index. The indices are fixed and are the host's keys for the types; `FileTypeCatalog.h` names
/// them.
///
/// Threads: the library starts none and takes no locks. A host may drive different families on different threads; what
/// a family is, and which types belong to one, is in the catalogue (`FileTypeIdentity::family`). The first call of
/// `GetRawFileTypeFactory` and the first scan of a family must not race with another.
class IRawFileTypeFactory {
public:
    IRawFileTypeFactory() = default;
    IRawFileTypeFactory(const IRawFileTypeFactory&) = delete;
    IRawFileTypeFactory& operator=(const IRawFileTypeFactory&) = delete;

    RAWFILETYPES_SLOT_ZERO(IRawFileTypeFactory)

    /// Number of indices.
    virtual std::int32_t GetCount() = 0;

    /// A new scanner that the caller owns and gives back with `IRawFileType::Release`; null when `index` is out of
    /// range or when memory runs out.
    virtual IRawFileType* Create(std::int32_t index) = 0;
};

/// The one factory; it lives until the library is unloaded and is not owned by the caller.
extern "C" RAWFILETYPES_EXPORT IRawFileTypeFactory* GetRawFileTypeFactory();
