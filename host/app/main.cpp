#include <string_view>

#include "host/app/command.h"
#include "host/app/worker_kinds.h"
#include "host/platform/process.h"
#include "host/workers/worker.h"

int main(int argc, char** argv) {
    salvor::OccupyStandardStreams();
    if (argc == 3 && std::string_view(argv[1]) == salvor::WorkerWord) {
        salvor::LiveAsWorker(argv[2], salvor::WorkerKinds());
    }
    return salvor::RunCommandLine(argc, argv);
}
