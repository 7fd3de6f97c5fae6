#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "frame/bytes/Bytes.h"
#include "frame/contract/ISectorSource.h"

namespace bench {

inline constexpr std::int32_t SectorBytes = 512;
/// As much as the host reads at once.
inline constexpr std::size_t BlockBytes = std::size_t{1024} * 1024;
/// Larger than the caches, so that a walk over it reads from memory as a scan does.
inline constexpr std::size_t StreamBytes = std::size_t{64} * 1024 * 1024;

using Bytes = std::vector<std::uint8_t>;

enum class Content {
    Zeros,
    Random,
    /// Prose in lines of ordinary length.
    Text,
    /// The same as UTF-16: every other byte is 0.
    WideText,
    /// Elements and attributes with little text in between.
    Markup,
    /// The sample card over and over: files, their remains and what lies between them.
    Card,
};
inline constexpr std::array AllContents{Content::Zeros,    Content::Random, Content::Text,
                                        Content::WideText, Content::Markup, Content::Card};

std::string_view NameOf(Content content);

/// `StreamBytes` of this content, the same on every machine. Valid until the next call asks for another content.
const Bytes& StreamOf(Content content);

/// A medium that repeats the same bytes without end; its first sector is number 1.
class RepeatingSource : public ISectorSource {
public:
    /// Borrows `bytes`, which are whole sectors and at least one.
    explicit RepeatingSource(ByteSpan bytes) : bytes_(bytes) {}

    std::int32_t ReadSectors(std::int64_t firstSector, std::uint8_t* buffer, std::int32_t count) override;
    std::int32_t GetGeometry(SectorGeometry* geometry) override;

private:
    ByteSpan bytes_;
};

/// A medium of these bytes with zeros after them; its first sector is number 1.
class FiniteSource : public ISectorSource {
public:
    /// Borrows `bytes`, which are whole sectors.
    explicit FiniteSource(ByteSpan bytes) : bytes_(bytes) {}

    std::int32_t ReadSectors(std::int64_t firstSector, std::uint8_t* buffer, std::int32_t count) override;
    std::int32_t GetGeometry(SectorGeometry* geometry) override;

private:
    ByteSpan bytes_;
};

}  // namespace bench
