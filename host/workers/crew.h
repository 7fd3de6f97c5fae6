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
    /// What the worker was looking at.
    Standing at;
    /// For people: "crashed (signal 11)".
    std::string text;
};

/// Did the worker fall over what it was looking at? Another one would fall again.
bool IsFault(Ending ending);

/// Gives a crew its orders and hears what comes of them.
class CrewClient {
public:
    CrewClient() = default;
    CrewClient(const CrewClient&) = delete;
    CrewClient& operator=(const CrewClient&) = delete;
    virtual ~CrewClient() = default;

    /// Asked whenever a worker is free. The crew is done when there is none and nobody works any more.
    virtual std::optional<Order> NextOrder() = 0;
    /// A line that the worker has sent, without its line break. What a worker says is as little to be trusted as the
    /// medium.
    virtual void OnLine(std::int64_t /*id*/, const std::string& /*line*/) {}
    virtual void OnEnd(std::int64_t id, const WorkerEnd& end) = 0;
    /// Told several times a second of each that works.
    virtual void OnStanding(std::int64_t /*id*/, const Standing& /*standing*/) {}
    /// Called after them.
    virtual void OnTurn() {}
    /// True stops all workers; no further order is asked for.
    virtual bool StopRequested() = 0;
};

struct CrewOptions {
    /// How many work at the same time.
    int workers = 1;
    /// How long a worker may go nowhere without waiting for the medium. The environment variable SALVOR_TEST_PATIENCE,
    /// in milliseconds, is a test's.
    std::chrono::milliseconds patience = std::chrono::seconds(30);
};

/// Has orders done by worker processes, each by a new one. Called on one thread that lives as long as the call. The
/// workers end when this process does. Throws `Failure` if no process can be started.
void RunCrew(const CrewOptions& options, CrewClient& client);

}  // namespace salvor
