#include "host/workers/crew.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <utility>
#include <vector>

#include "host/platform/child_process.h"
#include "host/platform/pipe.h"
#include "host/platform/sandbox.h"
#include "host/platform/shared_memory.h"
#include "host/say/failure.h"
#include "host/say/say.h"

namespace salvor {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// A worker has this long to stop before it is killed.
constexpr milliseconds StopGrace(3000);
// The time between two checks of the workers.
constexpr milliseconds Turn(100);
// The longest line that a worker may send.
constexpr std::size_t LongestLine = std::size_t{1} << 20U;

milliseconds PatienceOf(const CrewOptions& options) {
    const char* const text = std::getenv("SALVOR_TEST_PATIENCE");
    return text == nullptr ? options.patience : milliseconds(std::strtoll(text, nullptr, 10));
}

// One process that works on one order.
class Employee {
public:
    Employee(Order order, milliseconds patience)
        : order_(std::move(order)),
          patience_(patience),
          pageFile_(MakeMemoryFile("")),
          memory_(pageFile_.Get(), sizeof(WorkerPage)),
          page_(*new (memory_.Data()) WorkerPage{}),
          lines_(Pipe::Make()),
          process_(Start()) {
        lines_.writeEnd.Close();
        if (!process_.IsStarted()) {
            throw Failure(ExitStatus::NotStarted, "cannot start a worker process: " + process_.Error().Text());
        }
    }

    std::int64_t Id() const { return order_.id; }
    int Lines() const { return lines_.readEnd.Get(); }
    bool IsFiltered() const { return page_.sandbox != static_cast<std::uint8_t>(SandboxKind::LimitsOnly); }
    int RefusedRules() const { return page_.refusedRules; }
    Standing Where() const { return {{page_.first, page_.count}, page_.subject, page_.done}; }

    /// Passes on the lines that have arrived.
    void TakeLines(CrewClient& client) {
        const bool goesOn = ReadArrived(Lines(), pending_);
        std::size_t from = 0;
        for (std::size_t end = pending_.find('\n'); end != std::string::npos; end = pending_.find('\n', from)) {
            client.OnLine(Id(), pending_.substr(from, end - from));
            from = end + 1;
        }
        pending_.erase(0, from);
        if (pending_.size() > LongestLine) {
            process_.Kill();
        }
        isClosed_ = !goesOn;
    }

    void AskToStop() {
        if (!stopBy_) {
            page_.stop = true;
            stopBy_ = steady_clock::now() + StopGrace;
        }
    }

    /// Kills the worker if it hangs.
    void Watch() {
        const auto now = steady_clock::now();
        if (const std::uint64_t steps = page_.steps; steps != steps_ || page_.readers > 0) {
            steps_ = steps;
            lastStep_ = now;
            waitedBefore_.reset();
        } else if (!waitedBefore_) {
            waitedBefore_ = process_.WaitedForProcessor();
        } else if (!isHung_ && now - lastStep_ > patience_ &&
                   now - lastStep_ > patience_ + process_.WaitedForProcessor() - *waitedBefore_) {
            isHung_ = true;
            process_.Kill();
        }
        if (stopBy_ && now > *stopBy_) {
            process_.Kill();
        }
    }

    /// Nothing while it works, or while there are lines to read.
    std::optional<WorkerEnd> End() {
        const auto end = isClosed_ ? process_.End() : std::nullopt;
        return end ? std::optional(Conclude(*end)) : std::nullopt;
    }

private:
    ChildProcess Start() {
        const FileDescriptor orderFile = MakeMemoryFile(ToLine(order_));
        const FileDescriptor nothing = MakeMemoryFile("");
        std::vector<PassedDescriptor> passed{
            {orderFile.Get(), OrderDescriptor},
            {pageFile_.Get(), PageDescriptor},
            {lines_.writeEnd.Get(), LinesDescriptor},
            {order_.output >= 0 ? order_.output : nothing.Get(), OutputDescriptor},
            {order_.input >= 0 ? order_.input : nothing.Get(), InputDescriptor},
            {order_.log >= 0 ? order_.log : nothing.Get(), LogDescriptor},
            {order_.medium.space ? order_.medium.space->MemoryFile() : nothing.Get(), SpaceDescriptor}};
        int number = FirstMediumDescriptor;
        for (const int descriptor : order_.medium.descriptors) {
            passed.push_back({descriptor, number++});
        }
        return ChildProcess::StartSelf({WorkerWord, std::to_string(OwnProcessId())}, passed);
    }

    WorkerEnd Conclude(const ProcessEnd& end) const {
        WorkerEnd concluded;
        concluded.at = Where();
        const Ending said = page_.ending;
        if (isHung_) {
            concluded.ending = Ending::Hung;
            concluded.text = fmt::format("went nowhere for {:.0f} s", std::chrono::duration<double>(patience_).count());
        } else if (end.WasKilled() && stopBy_) {
            concluded.ending = Ending::Stopped;
        } else if (end.WasForbidden()) {
            concluded.ending = Ending::Forbidden;
            concluded.text = "tried what no worker may do";
        } else if (end.signal != 0 || end.status != 0 || said == Ending::None) {
            concluded.ending = Ending::Crashed;
            concluded.text = end.signal != 0 ? fmt::format("crashed (signal {})", end.signal)
                                             : fmt::format("ended unexpectedly (status {})", end.status);
        } else if (said == Ending::OutOfMemory) {
            concluded.ending = said;
            concluded.text = fmt::format("needs more than {} MiB of memory", order_.memory >> 20U);
        } else {
            concluded.ending = said;
            concluded.text = std::string(page_.text.begin(), std::ranges::find(page_.text, '\0'));
        }
        return concluded;
    }

    Order order_;
    milliseconds patience_;
    FileDescriptor pageFile_;
    SharedMemory memory_;
    WorkerPage& page_;
    Pipe lines_;
    ChildProcess process_;
    std::string pending_;
    bool isClosed_ = false;
    bool isHung_ = false;
    std::optional<steady_clock::time_point> stopBy_;
    std::uint64_t steps_ = 0;
    steady_clock::time_point lastStep_ = steady_clock::now();
    // How long it had waited for a processor soon after its last step. On a busy machine that is not its fault.
    std::optional<std::chrono::nanoseconds> waitedBefore_;
};

class Crew {
public:
    Crew(const CrewOptions& options, CrewClient& client)
        : size_(static_cast<std::size_t>(std::max(options.workers, 1))),
          patience_(PatienceOf(options)),
          client_(client) {}

    void Run() {
        for (Hire(); !employees_.empty(); Hire()) {
            std::vector<int> lines;
            std::ranges::transform(employees_, std::back_inserter(lines), &Employee::Lines);
            WaitForAny(lines, Turn);
            std::vector<std::pair<std::int64_t, WorkerEnd>> ended;
            for (auto one = employees_.begin(); one != employees_.end();) {
                const std::optional<WorkerEnd> end = Attend(*one);
                if (end) {
                    ended.emplace_back(one->Id(), *end);
                }
                one = end ? employees_.erase(one) : std::next(one);
            }
            // The client may take long to look at results. Meanwhile the next workers are at work.
            Hire();
            for (const auto& [id, end] : ended) {
                client_.OnEnd(id, end);
            }
            client_.OnTurn();
        }
    }

private:
    void Hire() {
        while (employees_.size() < size_ && !client_.StopRequested()) {
            std::optional<Order> order = client_.NextOrder();
            if (!order) {
                return;
            }
            employees_.emplace_back(*std::move(order), patience_);
        }
    }

    // How the worker ended; nothing while it works.
    std::optional<WorkerEnd> Attend(Employee& one) {
        if (client_.StopRequested()) {
            one.AskToStop();
        }
        one.TakeLines(client_);
        one.Watch();
        client_.OnStanding(one.Id(), one.Where());
        std::optional<WorkerEnd> end = one.End();
        if (end) {
            SayIfUnfiltered(one);
            SayIfRefused(one);
        }
        return end;
    }

    static void SayIfUnfiltered(const Employee& one) {
        static std::atomic<bool> isSaid = false;
        if (!one.IsFiltered() && !isSaid.exchange(true)) {
            SayLine("this kernel offers no filter of system calls; what reads the medium is held by limits alone");
        }
    }

    static void SayIfRefused(const Employee& one) {
        static std::atomic<bool> isSaid = false;
        if (one.RefusedRules() > 0 && !isSaid.exchange(true)) {
            Say("this kernel refused {} rules of the filter of system calls, so that what reads the medium may end "
                "early",
                one.RefusedRules());
        }
    }

    std::size_t size_;
    milliseconds patience_;
    CrewClient& client_;
    std::list<Employee> employees_;
};

}  // namespace

bool IsFault(Ending ending) {
    return ending == Ending::Crashed || ending == Ending::Hung || ending == Ending::OutOfMemory ||
           ending == Ending::Forbidden;
}

void RunCrew(const CrewOptions& options, CrewClient& client) { Crew(options, client).Run(); }

}  // namespace salvor
