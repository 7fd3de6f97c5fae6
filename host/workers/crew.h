#pragma once

#include <chrono>
#include <list>
#include <optional>
#include <span>
#include <string>

#include "host/workers/order.h"
#include "host/workers/worker_page.h"

namespace salvor {

/// How the work on an order ended.
struct WorkerEnd {
    Ending ending = Ending::None;
    /// What the worker was working on.
    Standing at;
    /// For messages: "crashed (signal 11)".
    std::string text;
};

/// True if the worker failed because of what it was working on, so that another worker would fail too.
bool IsFault(Ending ending);

/// Gives a crew its orders and receives the results.
class CrewClient {
public:
    CrewClient() = default;
    CrewClient(const CrewClient&) = delete;
    CrewClient& operator=(const CrewClient&) = delete;
    virtual ~CrewClient() = default;

    /// Called whenever a worker is free, even before `OnEnd` for the worker that has just become free. The crew is done
    /// when there is no order and no worker is busy.
    virtual std::optional<Order> NextOrder() = 0;
    /// A line from the worker, without its line break. It must be trusted as little as the medium.
    virtual void OnLine(std::int64_t /*id*/, const std::string& /*line*/) {}
    virtual void OnEnd(std::int64_t id, const WorkerEnd& end) = 0;
    /// Called several times a second for each busy worker.
    virtual void OnStanding(std::int64_t /*id*/, const Standing& /*standing*/) {}
    /// Called after these.
    virtual void OnTurn() {}
    /// True stops all workers; no more orders are requested.
    virtual bool StopRequested() = 0;
};

struct CrewOptions {
    /// How many workers run at the same time.
    int workers = 1;
    /// How long a worker may make no progress without waiting for the medium or a processor. For tests, the environment
    /// variable SALVOR_TEST_PATIENCE overrides it, in milliseconds.
    std::chrono::milliseconds patience = std::chrono::seconds(30);
};

/// Lets worker processes carry out orders, a new process for each. Called on one thread, which must live until it
/// returns. The workers end when this process does. Throws `Failure` if no process can be started.
void RunCrew(const CrewOptions& options, CrewClient& client);

}  // namespace salvor
