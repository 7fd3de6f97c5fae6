#pragma once

#include <cstdint>
#include <optional>

#include "frame/read/Budget.h"
#include "frame/scan/RememberingScanner.h"
#include "media/RiffScanner.h"

/// AVI films, with the further RIFF chunks of those above 1 GiB. Source: OpenDML AVI File Format Extensions 1.02,
/// "RIFF AVIX".
class KAviFileType final : public RememberingScanner<KAviFileType, Budget, RiffScanner<KAviFileType>> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Avi];
    static constexpr Pattern<4> Signature = RiffSignature;
    static constexpr auto FormType = PatternOf("AVI LIST");

    std::optional<std::int64_t> Measure(const Candidate& candidate);
};
