#include "host/app/worker_kinds.h"

#include <array>

#include "host/details/details_worker.h"
#include "host/scan/scan_order.h"
#include "host/validate/validate_worker.h"
#include "host/volumes/joined_worker.h"
#include "host/volumes/volumes_worker.h"
#include "host/workers/worker.h"

namespace salvor {

std::span<const WorkerKind> WorkerKinds() {
    // One row for each task of workers.
    static constexpr std::array kinds{
        WorkerKind{ScanOrderKind, ScanPartOrdered}, WorkerKind{ValidateOrderKind, ValidateInWorker},
        WorkerKind{DetailsOrderKind, AnswerQuestions, LoadReaders},
        WorkerKind{VolumesOrderKind, WorkOnVolumes, LoadVolumesLibrary}, WorkerKind{JoinedOrderKind, ValidateJoined}};
    return kinds;
}

}  // namespace salvor
