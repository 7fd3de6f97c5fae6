#pragma once

#include <cstdint>
#include <optional>

#include "frame/memory/BudgetedTrail.h"
#include "frame/scan/RememberingScanner.h"
#include "media/RiffScanner.h"

/// What a walk keeps of the extensions behind it.
struct AviFacts {
    /// The extension at the end of the way leads backwards.
    bool leadsBack = false;

    void Append(const AviFacts& behind) { leadsBack = leadsBack || behind.leadsBack; }
};

/// Follows the extension chunks after the first chunk of AVI films.
class AviExtensions : public BudgetedTrail<AviFacts> {
public:
    /// Where the extensions from this offset on end, in bytes from the start of the candidate; at most 128 GiB. Nothing
    /// if they have no end, if the medium cannot be read or if the budget was used up.
    std::optional<std::int64_t> FindEnd(const Candidate& candidate, std::int64_t from);

private:
    std::optional<std::int64_t> FindEndInCircles(const Candidate& candidate, std::int64_t from);
};

/// AVI films, with the further RIFF chunks of those above 1 GiB. Source: OpenDML AVI File Format Extensions 1.02,
/// "RIFF AVIX".
class KAviFileType final : public RememberingScanner<KAviFileType, AviExtensions, RiffScanner<KAviFileType>> {
public:
    static constexpr const FileTypeIdentity& Identity = FileTypeCatalog[FileTypeIndex::Avi];
    static constexpr Pattern<4> Signature = RiffSignature;
    static constexpr auto FormType = PatternOf("AVI LIST");

    std::optional<std::int64_t> Measure(const Candidate& candidate);
};
