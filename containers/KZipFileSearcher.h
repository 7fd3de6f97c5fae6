#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "containers/ZipFormat.h"
#include "frame/scan/FamilyEngine.h"
#include "frame/scan/RunState.h"

/// The engine of plain ZIP archives, Java archives, OpenDocument and Pocket Excel packages.
///
/// It does not read the directory: a sector that begins with a local file header opens an archive, the next footer
/// closes it, and names in between decide the kind. A header at a sector start inside an archive (say, of an archive
/// stored in another one) makes the outer archive wait: all of them end at the next footer. Office Open XML kinds are
/// found too, but no type of this engine asks for them.
///
/// Waiting archives outlive a scan, because `Reset` keeps them. Each takes 16 bytes.
class KZipFileSearcher final : public ReleasedAs<KZipFileSearcher, FamilyEngine> {
public:
    KZipFileSearcher() : ReleasedAs(NoBlockYet) {}

    std::int32_t Reset() override;
    std::int32_t EndScan() override;
    void SetMaxFileSize(std::int64_t size) override { run_.maxSize = size; }
    /// Reports nothing to the sink; use `ScanForKind`.
    void ScanBlock(const SectorBlock* block, IFoundFileSink* sink) override;
    /// The kind is undecided whenever no archive is open.
    bool RestsAt(std::int64_t /*nextSector*/) const { return run_.inFile == 0 && waiting_.empty(); }
    static std::int32_t HeaderWords(HeaderWord* words, std::int32_t capacity);
    static constexpr bool MayPassZeros = true;
    void Lengthen(std::int64_t firstSector, std::int64_t count, std::int32_t sectorSize);

private:
    static constexpr std::int64_t NoBlockYet = -1;
    static constexpr RunState Closed{.inFile = 0, .startSector = 0, .runLength = 0, .maxSize = ZipMaxSize};

    struct WaitingArchive {
        std::int64_t startSector;
        // `waitingGrowth_` when the archive was opened. All waiting archives grow by the same amounts from then on.
        std::int64_t growthBefore;
    };

    void LeaveOpenArchive();
    void CloseArchives(std::size_t endOffset);

    RunState run_ = Closed;
    std::vector<WaitingArchive> waiting_;
    std::int64_t waitingGrowth_ = 0;
    std::int32_t kind_ = ZipKind::Plain;
    // Where the zeros passed last begin.
    std::int64_t lengthenedAt_ = NoBlockYet;
};
