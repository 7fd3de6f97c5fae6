#include "host/workers/worker.h"

#include <algorithm>
#include <charconv>
#include <ctime>
#include <new>
#include <string>
#include <utility>

#include "host/medium/open_image.h"
#include "host/medium/scan_medium.h"
#include "host/platform/child_process.h"
#include "host/platform/process.h"
#include "host/platform/sandbox.h"
#include "host/platform/shared_memory.h"
#include "host/platform/stop_request.h"
#include "host/say/failure.h"

namespace salvor {

namespace {

// Notes in the worker's page that a thread is reading the medium.
class NotedSource final : public MediumSource {
public:
    NotedSource(std::unique_ptr<MediumSource> source, WorkerPage& page) : source_(std::move(source)), page_(page) {}

    std::int64_t Size() const override { return source_->Size(); }
    std::int32_t SectorSize() const override { return source_->SectorSize(); }
    std::size_t ReadAt(std::int64_t offset, std::uint8_t* buffer, std::size_t length) override {
        const Note note(page_);
        return source_->ReadAt(offset, buffer, length);
    }
    std::size_t ReadAgain(std::int64_t offset, std::uint8_t* buffer, std::size_t length) override {
        const Note note(page_);
        return source_->ReadAgain(offset, buffer, length);
    }
    void ExpectFailures() override { source_->ExpectFailures(); }
    ByteRange NextData(std::int64_t offset) override { return source_->NextData(offset); }
    std::optional<int> CopySource() const override { return source_->CopySource(); }

private:
    class Note {
    public:
        explicit Note(WorkerPage& page) : page_(page) { ++page_.readers; }
        Note(const Note&) = delete;
        Note& operator=(const Note&) = delete;
        ~Note() {
            --page_.readers;
            ++page_.steps;
        }

    private:
        WorkerPage& page_;
    };

    std::unique_ptr<MediumSource> source_;
    WorkerPage& page_;
};

// Libraries may have opened descriptors of their own, numbered after those of the medium.
std::unique_ptr<MediumSource> OpenOrdered(const MediumAccess& medium) {
    return medium.descriptors.empty() ? OpenImage(medium.image)
                                      : OpenPassedImage(medium.image.path, medium.descriptors);
}

void KeepText(WorkerPage& page, const std::string& text) {
    const std::size_t length = std::min(text.size(), page.text.size() - 1);
    *std::copy_n(text.begin(), length, page.text.begin()) = '\0';
}

void RequireParent(int parent) {
    if (!EndWithParent(parent)) {
        EndProcess(static_cast<int>(ExitStatus::NotStarted));
    }
}

bool Work(WorkerPage& page, std::span<const WorkerKind> kinds, int parent) {
    const Order order = OrderIn(ReadMemoryFile(OrderDescriptor));
    const auto kind = std::ranges::find(kinds, order.kind, &WorkerKind::name);
    if (kind == kinds.end()) {
        throw Failure(ExitStatus::NotStarted, "no worker does '" + order.kind + "'");
    }
    const FailurePolicy policy{order.medium.skipBad, [&page] {
                                   return page.stop.load();
                               }};
    ScanMedium medium(std::make_unique<Medium>(std::make_unique<NotedSource>(OpenOrdered(order.medium), page),
                                               order.medium.sectorSize, policy),
                      policy);
    medium.Join(Space::FromBytes(ReadMemoryFile(SpaceDescriptor)));
    // An image opened by name may belong to root. Changing the user cancels the request to end with the parent.
    GiveUpRootRights();
    RequireParent(parent);
    medium.Scanned().NoteUnreadable(order.medium.unreadable);
    Worker worker(page, order, medium.Scanned());
    // The time zone is looked up now, while files can still be opened.
    std::tm epoch{};
    std::mktime(&epoch);
    if (kind->prepare != nullptr) {
        kind->prepare(order.what);
    }
    const Sandbox sandbox = EnterSandbox({order.memory, /*mayWrite=*/true, !worker.IsTestedWithoutFilter()});
    page.sandbox = static_cast<std::uint8_t>(sandbox.kind);
    page.refusedRules = sandbox.refusedRules;
    return kind->work(worker);
}

}  // namespace

Worker::Worker(WorkerPage& page, const Order& order, Medium& medium)
    : page_(page),
      order_(order),
      medium_(medium),
      input_(FileDescriptor(InputDescriptor)),
      log_(FileDescriptor(LogDescriptor)),
      output_(FileDescriptor(OutputDescriptor)),
      lines_(FileDescriptor(LinesDescriptor)),
      fault_(TestFault::Ordered()) {}

Worker::~Worker() { lines_.Write(unsent_.data(), unsent_.size()); }

void Worker::SendSoon(const std::string& line) {
    constexpr std::size_t enough = std::size_t{1} << 14U;
    constexpr std::chrono::milliseconds interval(200);
    unsent_ += line;
    if (const auto now = std::chrono::steady_clock::now(); unsent_.size() > enough || now >= nextSend_) {
        Send(std::exchange(unsent_, {}));
        nextSend_ = now + interval;
    }
}

void Worker::Send(const std::string& line) {
    if (!lines_.Write(line.data(), line.size())) {
        throw Failure(ExitStatus::Losses, "cannot report: " + lines_.Error().Text());
    }
}

void LiveAsWorker(const char* parent, std::span<const WorkerKind> kinds) {
    LeaveStopToParent();
    int parentId = 0;
    std::from_chars(parent, parent + std::string_view(parent).size(), parentId);
    RequireParent(parentId);
    const SharedMemory memory(PageDescriptor, sizeof(WorkerPage));
    auto& page = *static_cast<WorkerPage*>(memory.Data());
    try {
        page.ending = Work(page, kinds, parentId) ? Ending::Done : Ending::Stopped;
    } catch (const std::bad_alloc&) {
        page.ending = Ending::OutOfMemory;
    } catch (const std::exception& error) {
        KeepText(page, error.what());
        page.ending = Ending::Failed;
    }
    EndProcess(static_cast<int>(ExitStatus::Done));
}

}  // namespace salvor
