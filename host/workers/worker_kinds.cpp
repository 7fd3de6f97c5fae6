#include <array>

#include "host/validate/validate_worker.h"
#include "host/workers/worker.h"

namespace salvor {

std::span<const WorkerKind> WorkerKinds() {
    static constexpr std::array kinds{WorkerKind{ValidateOrderKind, ValidateInWorker}};
    return kinds;
}

}  // namespace salvor
