#pragma once

#include <span>

#include "host/workers/worker.h"

namespace salvor {

/// The program's tasks.
std::span<const WorkerKind> WorkerKinds();

}  // namespace salvor
