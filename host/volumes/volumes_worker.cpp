#include "host/volumes/volumes_worker.h"

#include <string>

#include "host/medium/tsk_library.h"
#include "host/volumes/knowledge.h"
#include "host/volumes/read_volumes.h"

namespace salvor {

void LoadVolumesLibrary(const Json& /*what*/) { TskLibrary::Get(); }

bool WorkOnVolumes(Worker& worker) {
    const bool withUsed = worker.What().at("used").get<bool>();
    const bool withFiles = worker.What().at("files").get<bool>();
    std::int64_t steps = 0;
    VolumeLines lines([&worker](const std::string& line) { worker.SendSoon(line); },
                      [&] {
                          worker.Done(++steps);
                          return worker.StopRequested();
                      });
    ReadVolumes(worker.GetMedium(), {withUsed, withFiles, worker.What().at("allowance").get<std::int64_t>()}, lines);
    lines.End();
    return !worker.StopRequested();
}

}  // namespace salvor
