#pragma once

#include <cstdint>
#include <optional>

#include "formats/WordPerfectFile.h"
#include "frame/scan/WalkingScanner.h"

/// WordPerfect documents: from release 6 on by the length in the header, older ones function by function. Sources:
/// Corel, WordPerfect file format of the software developer's kit; the libwpd project.
class KWpdFileType final : public WalkingScanner<KWpdFileType> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Wpd];
    static constexpr auto Signature = WordPerfectSignature;
    static constexpr std::int64_t MinReportLength = 256;
    static constexpr std::int64_t WalkLimit = Identity.maxSize;

    static bool IsHeader(ByteSpan sector) { return IsWordPerfectHeader(sector); }
    static std::optional<std::int64_t> Walk(FileWindow& file) {
        const std::optional<WordPerfectFile> walked = WalkWordPerfect(file, WordPerfectEnd::Sector);
        return walked ? std::optional(walked->size) : std::nullopt;
    }
};
