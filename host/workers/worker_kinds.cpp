#include "host/workers/worker.h"

namespace salvor {

std::span<const WorkerKind> WorkerKinds() {
    // One row for each step that works in workers.
    return {};
}

}  // namespace salvor
