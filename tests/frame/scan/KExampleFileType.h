#pragma once

#include <cstdint>
#include <optional>

#include "frame/bytes/Bytes.h"
#include "frame/scan/MeasuringScanner.h"

/// Example files: a signature and the file's length as a little-endian 32-bit number. To be copied for a new type; see
/// docs/adding-a-type.md. Source: name the document and its sections here.
class KExampleFileType final : public MeasuringScanner<KExampleFileType> {
public:
    // Of a real type: `static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Example];`
    static constexpr FileTypeIdentity Identity{"Example File", "exa", 0x10000, 0, 0};
    static constexpr auto Signature = PatternOf("EXAMPLE\x1A");
    static constexpr std::size_t MinSectorBytes = Signature.size() + 4;
    static constexpr std::int64_t MinReportLength = 256;

    static std::optional<std::int64_t> Measure(const Candidate& candidate) {
        return LoadLittle<std::uint32_t>(candidate.sector, Signature.size());
    }
};
