#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "host/platform/file.h"
#include "host/workers/order.h"
#include "host/workers/test_fault.h"
#include "host/workers/worker_page.h"

namespace salvor {

/// What a worker's function can use. It runs in a sandbox and cannot open anything.
class Worker {
public:
    Worker(WorkerPage& page, const Order& order, Medium& medium);
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;
    ~Worker();

    const Json& What() const { return order_.what; }
    Medium& GetMedium() const { return medium_; }
    /// The order's input. Other workers may share it, so it is read with `ReadAt`.
    File& Input() { return input_; }
    /// The order's file of lines.
    File& Log() { return log_; }
    /// The order's file.
    File& Output() { return output_; }
    /// Sends a line, with its line break, to the client.
    void Send(const std::string& line);
    /// Sends lines together, since the client wakes up for each sending; the last ones when the order ends. If the
    /// worker crashes, those not sent yet are lost.
    void SendSoon(const std::string& line);

    /// Notes that the worker is about to look at these sectors for this subject. Cheap. A worker that calls neither
    /// this nor `Done` for a while counts as hung, unless it is waiting for the medium.
    void At(SectorRange sectors, std::int32_t subject) {
        page_.first.store(sectors.first, std::memory_order_relaxed);
        page_.count.store(sectors.count, std::memory_order_relaxed);
        page_.subject.store(subject, std::memory_order_relaxed);
        // Cheaper than an atomic sum. A step that another thread adds meanwhile may be lost; this one is not.
        page_.steps.store(page_.steps.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
        if (fault_) {
            fault_->Strike(sectors, subject);
        }
    }
    /// Notes that this many bytes of the order are done.
    void Done(std::int64_t bytes) {
        page_.done.store(bytes, std::memory_order_relaxed);
        page_.steps.fetch_add(1, std::memory_order_relaxed);
    }
    bool StopRequested() const { return page_.stop; }
    bool IsTestedWithoutFilter() const { return fault_ && fault_->HasNoFilter(); }

private:
    WorkerPage& page_;
    const Order& order_;
    Medium& medium_;
    File input_;
    File log_;
    File output_;
    File lines_;
    std::string unsent_;
    std::chrono::steady_clock::time_point nextSend_;
    std::optional<TestFault> fault_;
};

/// A task that workers can be given.
struct WorkerKind {
    std::string_view name;
    /// False if it was stopped. Throws `Failure` if the task cannot be done.
    bool (*work)(Worker& worker);
    /// Loads what the task needs from the system, before the sandbox and without looking at the medium; null if
    /// nothing.
    void (*prepare)(const Json& what) = nullptr;
};

/// Runs a worker process from its first line on; `parent` is the process that started it, in digits.
[[noreturn]] void LiveAsWorker(const char* parent, std::span<const WorkerKind> kinds);

}  // namespace salvor
