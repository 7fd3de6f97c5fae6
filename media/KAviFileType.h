#pragma once

#include <cstdint>
#include <optional>

#include "frame/memory/Trail.h"
#include "frame/scan/RememberingScanner.h"
#include "media/RiffScanner.h"

/// Follows the extension chunks after the first chunk of AVI films.
class AviExtensions {
public:
    void Reset() {
        trail_.Reset();
        budget_.Reset();
    }
    void EnterBlock(const SectorBlock& block) {
        trail_.EnterBlock(block);
        budget_.EnterBlock(block);
    }
    bool IsAtRest() const { return budget_.IsAtRest(); }

    /// Where the extensions from this offset on end, in bytes from the start of the candidate; at most 128 GiB. Nothing
    /// if they have no end, if the medium cannot be read or if the budget was used up.
    std::optional<std::int64_t> FindEnd(const Candidate& candidate, std::int64_t from);

private:
    struct Facts {
        // The extension at the end of the way leads backwards.
        bool leadsBack = false;

        void Append(const Facts& behind) { leadsBack = leadsBack || behind.leadsBack; }
    };
    std::optional<std::int64_t> FindEndInCircles(const Candidate& candidate, std::int64_t from);

    Budget budget_;
    Trail<Facts> trail_{&budget_};
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
