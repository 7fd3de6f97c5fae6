#include "host/volumes/learn.h"

#include <optional>
#include <utility>

#include "host/platform/stop_request.h"
#include "host/say/progress.h"
#include "host/say/say.h"
#include "host/volumes/prefer_known.h"
#include "host/volumes/volumes_worker.h"
#include "host/workers/crew.h"

namespace salvor {

namespace {

// What may be read of a file system's own structures. Inodes take a 64th of a medium; the entries of lost folders of a
// FAT may be anywhere.
std::int64_t AllowanceFor(const Medium& medium) {
    constexpr std::int64_t least = std::int64_t{1} << 30;
    return least + medium.SizeInBytes() / 16;
}

class VolumesClient : public CrewClient {
public:
    VolumesClient(Medium& medium, Order order) : medium_(medium), order_(std::move(order)) {}

    std::optional<Order> NextOrder() override { return std::exchange(order_, std::nullopt); }
    void OnLine(std::int64_t /*id*/, const std::string& line) override {
        // A hostile file system names files without end.
        constexpr std::size_t mostFiles = std::size_t{4} << 20U;
        if (knowledge.files.size() < mostFiles) {
            AddLine(line, medium_, knowledge);
        }
    }
    void OnEnd(std::int64_t /*id*/, const WorkerEnd& end) override {
        if (end.ending != Ending::Done && end.ending != Ending::Stopped) {
            Say("the file systems could not be read to their end, as the process that reads them {}; what it found "
                "before that is used",
                end.text);
        }
    }
    bool StopRequested() override { return salvor::StopRequested(); }

    Knowledge knowledge;

private:
    Medium& medium_;
    std::optional<Order> order_;
};

}  // namespace

Knowledge LearnVolumes(Medium& medium, const ImageSpec& image, bool withFiles) {
    Order order;
    order.kind = VolumesOrder;
    order.what = {{"files", withFiles}, {"allowance", AllowanceFor(medium)}};
    order.medium = AccessTo(medium, image);
    // File systems with millions of files have large tables of names.
    order.memory = std::int64_t{1} << 30;
    VolumesClient client(medium, std::move(order));
    RunCrew({}, client);
    return std::move(client.knowledge);
}

KnownFiles AskFileSystems(Medium& medium, const ImageSpec& image, const std::map<std::int32_t, std::int64_t>& caps,
                          std::vector<Outcome>& outcomes, bool quiet) {
    Knowledge knowledge = LearnVolumes(medium, image, true);
    KnownFiles files(std::move(knowledge.files), knowledge.used, medium.SectorSize());
    if (files.All().empty()) {
        return files;
    }
    Progress progress("comparing", medium.SizeInBytes(), quiet);
    const std::map<std::string, std::int64_t> noCounts;
    const bool complete = PreferKnown(medium, files, caps, outcomes, [&](std::int64_t byte) {
        progress.Update(byte, noCounts);
        return StopRequested();
    });
    if (complete) {
        progress.Update(medium.SizeInBytes(), noCounts);
    }
    return files;
}

}  // namespace salvor
