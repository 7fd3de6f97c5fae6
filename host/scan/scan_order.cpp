#include "host/scan/scan_order.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/say/failure.h"
#include "host/say/full_disk.h"

namespace salvor {

namespace {

using std::chrono::steady_clock;

ScanOrder OrderFrom(const Json& what) {
    ScanOrder order;
    order.request.range = {what.at("first_sector").get<std::int64_t>(), what.at("sectors").get<std::int64_t>()};
    order.request.blockSectors = what.at("block_sectors").get<std::int64_t>();
    order.request.types = what.at("types").get<std::vector<std::int32_t>>();
    order.request.caps = CapsFromJson(what.at("caps"));
    order.request.withStarts = what.at("with_starts").get<bool>();
    order.part.from = what.at("from").get<std::int64_t>();
    order.part.to = what.at("to").get<std::int64_t>();
    order.part.last = what.at("last").get<std::int64_t>();
    for (const Json& range : what.at("borders")) {
        order.part.borders.push_back({range.at(0).get<std::int64_t>(), range.at(1).get<std::int64_t>()});
    }
    order.part.mayEndSooner = what.at("may_end_sooner").get<bool>();
    order.part.mostRestless = what.at("most_restless").get<std::int64_t>();
    order.key = {what.at("program").get<std::string>(), what.at("medium").get<std::string>(),
                 what.at("options").get<std::string>()};
    order.seconds = what.at("seconds").get<double>();
    return order;
}

// Reports progress to the crew, and collects what is seen.
class WorkerObserver : public ScanObserver {
public:
    WorkerObserver(Worker& worker, const ScanOrder& order)
        : worker_(worker),
          mayEndSooner_(order.part.mayEndSooner),
          firstSector_(GridOf(order.request).SectorsOf({order.part.from, order.part.to}).first),
          seconds_(order.seconds),
          end_(steady_clock::now() + seconds_) {}

    void OnFind(const Find& /*find*/) override { ++finds_; }
    void OnStart(std::int64_t sector) override { seen.starts.push_back(sector); }
    void OnTextStart(std::int64_t sector) override { seen.AddTextStart(sector); }
    void OnZeros(SectorRange sectors) override { seen.AddZeros(sectors); }
    void OnLook(SectorRange sectors, std::int32_t type) override { worker_.At(sectors, type); }
    void OnBlockDone(std::int64_t nextSector) override {
        const std::int64_t done = (nextSector - firstSector_) * worker_.GetMedium().SectorSize();
        worker_.Done(done);
        TakeSpeed(done);
    }
    bool IsSlow() override { return isSlow_; }
    bool StopRequested() override { return !mayEndSooner_ && worker_.StopRequested(); }

    // Types that go on after the part get half as much again.
    bool PartShallEnd() override {
        const bool isEnough = steady_clock::now() >= end_ || finds_ >= mostFinds_;
        if (isEnough) {
            end_ = steady_clock::now() + seconds_ / 2;
            mostFinds_ = finds_ + MostFinds / 2;
        }
        return isEnough || worker_.StopRequested();
    }

    Sightings seen;

private:
    // Measured in processor time, on which slow media and other processes have no effect.
    void TakeSpeed(std::int64_t done) {
        constexpr std::int64_t bytesBetween = std::int64_t{4} << 20;
        constexpr double slow = 300e6;
        if (done - timedBytes_ >= bytesBetween) {
            const std::clock_t now = std::clock();
            const double seconds = static_cast<double>(now - timed_) / CLOCKS_PER_SEC;
            isSlow_ = static_cast<double>(done - timedBytes_) < slow * seconds;
            timed_ = now;
            timedBytes_ = done;
        }
    }

    // A part's finds are in memory until its end, and a hostile medium has finds in every sector.
    static constexpr std::int64_t MostFinds = 400000;

    Worker& worker_;
    bool mayEndSooner_;
    std::int64_t firstSector_;
    std::chrono::duration<double> seconds_;
    std::chrono::time_point<steady_clock, std::chrono::duration<double>> end_;
    std::int64_t finds_ = 0;
    std::int64_t mostFinds_ = MostFinds;
    std::clock_t timed_ = std::clock();
    std::int64_t timedBytes_ = 0;
    bool isSlow_ = false;
};

}  // namespace

Json ToJson(const ScanOrder& order) {
    Json borders = Json::array();
    for (const BlockRange& range : order.part.borders) {
        borders.push_back({range.first, range.end});
    }
    return {{"first_sector", order.request.range.first},
            {"sectors", order.request.range.count},
            {"block_sectors", order.request.blockSectors},
            {"types", order.request.types},
            {"caps", CapsToJson(order.request.caps)},
            {"with_starts", order.request.withStarts},
            {"from", order.part.from},
            {"to", order.part.to},
            {"last", order.part.last},
            {"borders", borders},
            {"may_end_sooner", order.part.mayEndSooner},
            {"most_restless", order.part.mostRestless},
            {"program", order.key.program},
            {"medium", order.key.medium},
            {"options", order.key.options},
            {"seconds", order.seconds}};
}

bool ScanPartOrdered(Worker& worker) {
    const ScanOrder order = OrderFrom(worker.What());
    WorkerObserver observer(worker, order);
    std::optional<SegmentScan> segment = ScanApart(worker.GetMedium(), order.request, order.part, observer);
    if (!segment) {
        return false;
    }
    segment->seen = std::move(observer.seen);
    segment->seen.unreadable = worker.GetMedium().TakeNewlyUnreadable().Ranges();
    if (!WriteSegment(worker.Output(), order.key, *segment)) {
        throw Failure(ExitStatus::Losses, WhyNotWritten(worker.Output().Error()));
    }
    return true;
}

}  // namespace salvor
