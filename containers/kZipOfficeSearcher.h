#pragma once

#include <cstdint>

#include "containers/ZipFormat.h"
#include "containers/ZipWalk.h"
#include "frame/scan/FamilyEngine.h"

/// The engine of Office Open XML documents. It walks the records of every archive that begins at a sector start, to the
/// end of the central directory, and takes the kind from the first name in a folder "ppt", "word" or "xl". An archive
/// without such a name is not reported. Nothing stays open between sectors.
class kZipOfficeSearcher final : public ReleasedAs<kZipOfficeSearcher, FamilyEngine> {
public:
    kZipOfficeSearcher() : ReleasedAs(NoBlockYet) {}

    std::int32_t Reset() override;
    /// Has no effect: the walk has a limit of its own.
    void SetMaxFileSize(std::int64_t size) override { maxSize_ = size; }
    /// Reports nothing to the sink; use `ScanForKind`.
    void ScanBlock(const SectorBlock* block, IFoundFileSink* sink) override;
    bool RestsAt(std::int64_t /*nextSector*/) const { return walk_.IsAtRest(); }
    static std::int32_t HeaderWords(HeaderWord* words, std::int32_t capacity);

private:
    static constexpr std::int64_t NoBlockYet = -1;

    std::int64_t maxSize_ = ZipMaxSize;
    ZipWalk walk_;
};
