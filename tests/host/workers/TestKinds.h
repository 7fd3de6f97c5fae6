#pragma once

#include <span>

#include "host/workers/worker.h"

namespace salvor::test {

/// What the tests' workers can do: what those of the program do, and "read".
std::span<const WorkerKind> KindsForTests();

}  // namespace salvor::test
