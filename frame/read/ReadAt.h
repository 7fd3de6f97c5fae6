#pragma once

#include <cstdint>
#include <span>

#include "frame/bytes/ByteWindow.h"
#include "frame/read/KFileSimulator.h"

/// Fills `bytes` from an offset in the candidate's file; false if not all of them can be read. The overloads let one
/// decoder serve scanners with a plain reader and those with a window.
inline bool ReadAt(KFileSimulator& file, std::int64_t offset, std::span<std::uint8_t> bytes) {
    file.Seek(offset);
    return file.Read(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
}

inline bool ReadAt(ByteWindow& file, std::int64_t offset, std::span<std::uint8_t> bytes) {
    return file.Copy(offset, bytes);
}
