#include "host/scan/scan_session.h"

#include <IFoundFileSink.h>

#include "host/scan/block_reader.h"
#include "host/scan/block_slices.h"
#include "host/scan/scanners.h"
#include "host/scan/start_finder.h"
#include "host/scan/stream.h"

namespace salvor {

namespace {

struct ActiveScanner {
    std::int32_t type;
    ScannerPtr scanner;
};

class FindSink : public IFoundFileSink {
public:
    FindSink(const Medium& medium, ScanObserver& observer) : medium_(medium), observer_(observer) {}
    void SetType(std::int32_t type) { type_ = type; }
    std::int32_t ReportFound(const FoundFile* file) override {
        // A scanner that was cut off from the medium's bytes reports what is not there.
        if (!medium_.IsInterrupted()) {
            observer_.OnFind({type_, file->startSector - StreamStart, file->size});
        }
        return 1;
    }

private:
    const Medium& medium_;
    ScanObserver& observer_;
    std::int32_t type_ = 0;
};

std::vector<ActiveScanner> StartScanners(const ScanRequest& request) {
    std::vector<ActiveScanner> scanners;
    for (const std::int32_t type : request.types) {
        ScannerPtr scanner = CreateScanner(type);
        scanner->BeginScan();
        if (const auto cap = request.caps.find(type); cap != request.caps.end()) {
            scanner->SetMaxFileSize(cap->second);
        }
        scanners.push_back({type, std::move(scanner)});
    }
    return scanners;
}

// Nothing to look for unless that is wanted.
StartFinder MakeStartFinder(Medium& medium, const ScanRequest& request) {
    StartFinder finder(request.withStarts ? Validators() : std::span<const Validator* const>(), medium.SectorSize(),
                       medium.SizeInBytes());
    if (request.withStarts && request.range.first > 0) {
        std::vector<std::uint8_t> before(static_cast<std::size_t>(medium.SectorSize()));
        medium.Read(request.range.first - 1, before.data(), 1);
        finder.SetBefore(before);
    }
    return finder;
}

}  // namespace

bool ScanRange(Medium& medium, const ScanRequest& request, ScanObserver& observer) {
    const std::vector<ActiveScanner> scanners = StartScanners(request);
    StreamSource source(medium);
    FindSink sink(medium, observer);
    StartFinder starts = MakeStartFinder(medium, request);
    BlockReader reader(medium, request.range, request.blockSectors);
    bool stopped = false;
    while (const auto read = reader.Next()) {
        stopped = observer.StopRequested() || medium.IsInterrupted();
        if (stopped) {
            break;
        }
        source.SetBlock(*read);
        const SectorBlock block{read->sectors.first + StreamStart, read->data,
                                static_cast<std::int32_t>(read->sectors.count), medium.SectorSize(), &source};
        ScanInSlices(
            block, scanners, [](const ActiveScanner& active) { return active.type; },
            [&sink](const ActiveScanner& active, const SectorBlock& part) {
                sink.SetType(active.type);
                active.scanner->ScanBlock(&part, &sink);
            },
            [&](const SectorBlock& part) {
                if (request.withStarts) {
                    starts.Look(
                        part.data, part.firstSector - StreamStart, part.sectorCount,
                        [&](std::int64_t sector) { observer.OnStart(sector); },
                        [&](std::int64_t sector) { observer.OnTextStart(sector); });
                }
            });
        stopped = medium.IsInterrupted();
        if (stopped) {
            break;
        }
        observer.OnBlockDone(read->sectors.first + read->sectors.count);
    }
    for (const ActiveScanner& active : scanners) {
        active.scanner->EndScan();
    }
    return !stopped;
}

}  // namespace salvor
