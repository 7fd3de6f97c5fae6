#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "frame/scan/RunScanner.h"

/// Web pages saved with their pictures as one multipart message. Sources: RFC 2557; RFC 2046, section 5.1.
class KMhtFileType final : public RunScanner<KMhtFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Mht];
    static constexpr std::int64_t MinReportLength = 256;
    /// The kind may be anywhere in the sector's first bytes.
    struct KindFilter {
        static constexpr std::size_t Reach() { return 64; }
        static bool Matches(const std::uint8_t* sector);
    };
    static constexpr KindFilter Filter{};

    bool IsHeader(ByteSpan sector);
    std::optional<std::size_t> FindEnd(ByteSpan sector) const;

private:
    void KeepBoundary(ByteSpan text);

    // The closing boundary of the open archive; empty if its header has no boundary.
    std::array<std::uint8_t, 64> closing_{};
    std::size_t closingSize_ = 0;
};
