#pragma once

#include <cstdint>

#include "IRawFileType.h"

#if defined(_WIN32)
#if defined(RAWFILETYPES_BUILD)
#define RAWFILETYPES_EXPORT __declspec(dllexport)
#else
#define RAWFILETYPES_EXPORT __declspec(dllimport)
#endif
#else
#define RAWFILETYPES_EXPORT __attribute__((visibility("default")))
#endif

/// Creates scanners by index. The index order is fixed and is the host's key for a type; `FileTypeCatalog` in
/// "FileTypeCatalog.h" tells what each index stands for.
///
/// Threads: the library starts none and takes no locks. Types of different families share no mutable state, so a host
/// may drive different families on different threads. Types of one family share an engine or the range of the last
/// file found and stay on one thread, where each block goes to all of them before the next block. The families are:
/// the compound documents (indices 0 to 5, 80, 83 to 85, 87, 97, 99, 103); the ZIP packages (6 to 13, 67, 93, 94, 98);
/// ASF (14 to 16); MPEG audio (22); program streams (25); TIFF (52, 54, 56, 59, 60, 81, 106). Every other type stands
/// alone. The first call of `GetRawFileTypeFactory` and the first scan of a family must not race with another.
class IRawFileTypeFactory {
public:
    IRawFileTypeFactory() = default;
    IRawFileTypeFactory(const IRawFileTypeFactory&) = delete;
    IRawFileTypeFactory& operator=(const IRawFileTypeFactory&) = delete;

    virtual ~IRawFileTypeFactory() = default;

    /// Number of indices.
    virtual std::int32_t GetCount() = 0;

    /// A new scanner that the caller owns and gives back with `IRawFileType::Release`; null when `index` is out of
    /// range or when memory runs out.
    virtual IRawFileType* Create(std::int32_t index) = 0;
};

/// The one factory; it lives until the library is unloaded and is not owned by the caller.
extern "C" RAWFILETYPES_EXPORT IRawFileTypeFactory* GetRawFileTypeFactory();
