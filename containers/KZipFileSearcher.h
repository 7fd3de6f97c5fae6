#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "containers/ZipFormat.h"
#include "frame/scan/FamilyEngine.h"
#include "frame/scan/RunState.h"

/// The engine of plain ZIP archives, Java archives, OpenDocument and Pocket Excel packages.
///
/// It reads no directory: a sector that begins with a local file header opens an archive, the first end mark behind it
/// closes it, and names that it meets in between decide the kind. A header at a sector start inside an archive, as of
/// an archive stored in another one, makes the archive around it wait: all of them end at the next end mark. Kinds that
/// no type asks for, those of Office Open XML, are found and reported by nobody.
///
/// The archives that wait outlive a scan: the types reach `Reset` only, which leaves them. Each takes 16 bytes.
class KZipFileSearcher final : public FamilyEngine {
public:
    KZipFileSearcher() : FamilyEngine(NoBlockYet) {}

    std::int32_t Reset() override;
    std::int32_t EndScan() override;
    void SetMaxFileSize(std::int64_t size) override { run_.maxSize = size; }
    /// Reports nothing to the sink: ask with `ScanForKind`.
    void ScanBlock(const SectorBlock* block, IFoundFileSink* sink) override;

private:
    static constexpr std::int64_t NoBlockYet = -1;
    static constexpr RunState Closed{.inFile = 0, .startSector = 0, .runLength = 0, .maxSize = ZipMaxSize};

    struct WaitingArchive {
        std::int64_t startSector;
        // `waitingGrowth_` when the archive was opened: all that wait grow by the same amounts from then on.
        std::int64_t growthBefore;
    };

    void LeaveOpenArchive();
    void CloseArchives(std::size_t endOffset);

    RunState run_ = Closed;
    std::vector<WaitingArchive> waiting_;
    std::int64_t waitingGrowth_ = 0;
    std::int32_t kind_ = ZipKind::Plain;
};
