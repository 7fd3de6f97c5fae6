#include "host/scan/first_find.h"

#include "host/scan/scan_session.h"

namespace salvor {

namespace {

class FirstFindObserver : public ScanObserver {
public:
    FirstFindObserver(const FirstFindRequest& request, std::int64_t sectorSize)
        : request_(request), sectorSize_(sectorSize) {}
    void OnFind(const Find& find) override {
        if (find.startSector == request_.sector) {
            found.find = find;
        }
    }
    void OnBlockDone(std::int64_t nextSector) override { found.bytes = (nextSector - request_.sector) * sectorSize_; }
    bool StopRequested() override { return found.find || found.bytes > request_.mostBytes || request_.stopRequested(); }

    FirstFound found;

private:
    const FirstFindRequest& request_;
    std::int64_t sectorSize_;
};

}  // namespace

FirstFound FirstFindAt(Medium& medium, const FirstFindRequest& request) {
    constexpr std::int64_t blockBytes = std::int64_t{1} << 20;
    FirstFindObserver observer(request, medium.SectorSize());
    ScanRequest scan;
    scan.range = {request.sector, medium.SectorCount() - request.sector};
    scan.blockSectors = blockBytes / medium.SectorSize();
    scan.types = request.types;
    scan.caps = request.caps;
    ScanRange(medium, scan, observer);
    return observer.found;
}

}  // namespace salvor
