#include "host/files/out_folder.h"

#include <fmt/format.h>

#include <algorithm>
#include <system_error>
#include <utility>

#include "host/files/writing_log.h"
#include "host/platform/child_process.h"
#include "host/platform/process.h"
#include "host/platform/same_disk.h"
#include "host/records/json_lines.h"
#include "host/records/line_log.h"
#include "host/say/failure.h"

namespace salvor {

namespace {

namespace fs = std::filesystem;

constexpr const char* JobFile = "job.json";
// Each of several runs that share a folder appends its process number.
constexpr const char* JobDraft = "job.json.part";
constexpr const char* LockFile = "job.lock";

Failure Refuse(ExitStatus status, const fs::path& folder, std::string_view why) {
    return Failure(status, fmt::format("cannot write to '{}': {}", folder.string(), why));
}

Json JobToJson(const JobIdentity& job) {
    Json record{{"image", job.imagePath}, {"image_size", job.imageSize}, {"sector_size", job.sectorSize}};
    if (job.imageFormat) {
        record["image_format"] = ImageFormatWord(*job.imageFormat);
    }
    return record;
}

bool BelongsToJob(const Folder& folder, const JobIdentity& job) {
    File file = folder.Read(JobFile);
    std::string line;
    // Compared as text: bytes of a path that are not UTF-8 are replaced in both.
    return file.IsOpen() && LineReader(file).Next(line) && line + '\n' == JsonLine(JobToJson(job));
}

void MarkWithJob(const Folder& folder, const JobIdentity& job) {
    if (BelongsToJob(folder, job)) {
        return;
    }
    const std::string draft = JobDraft + std::to_string(OwnProcessId());
    File file = folder.Create(draft);
    const std::string line = JsonLine(JobToJson(job));
    if (!file.IsOpen() || !file.Write(line.data(), line.size()) || !file.Sync()) {
        throw Refuse(ExitStatus::NotStarted, folder.Path(), "no file can be written there: " + file.Error().Text());
    }
    if (const SystemError error = folder.Rename(draft, JobFile)) {
        throw Refuse(ExitStatus::NotStarted, folder.Path(), "no file can be written there: " + error.Text());
    }
}

// A new file system already has a folder, lost+found.
bool IsEmpty(const Folder& folder) {
    return !folder.AnyEntry([](const std::string& name) {
        return name != "lost+found" && name != LockFile && !name.starts_with(JobDraft);
    });
}

void RequireAllowed(const Folder& folder, const JobIdentity& job, FolderUse use) {
    const bool allowed =
        use == FolderUse::Overwrite || IsEmpty(folder) || (use != FolderUse::New && BelongsToJob(folder, job));
    if (!allowed) {
        throw Refuse(ExitStatus::Usage, folder.Path(),
                     "it is not empty; name a new folder, or pass --overwrite to write among what is there");
    }
}

// An image that lies in the folder may have the name of a file that a run writes there.
void RefuseInputsAsOutputs(const fs::path& folder, const RunInputs& inputs) {
    for (const char* name :
         {JobFile, LockFile, "scan.json", "report.jsonl", "report.jsonl.part", "skipped.jsonl", "skipped.jsonl.part",
          "finds.jsonl", "outcomes.jsonl", "known.jsonl", WritingLog::Name, "index.html", "index.html.part"}) {
        const bool isFinds = std::string_view(name) == "finds.jsonl";
        if (IsAmong(folder / name, inputs.imageFiles) ||
            (!isFinds && !inputs.findsPath.empty() && IsSameFile(folder / name, inputs.findsPath))) {
            throw Refuse(ExitStatus::Usage, folder,
                         fmt::format("'{}' there is what this run reads, and a report would replace it", name));
        }
    }
}

File TakeLock(const Folder& folder) {
    File lock = folder.OpenLock(LockFile);
    if (!lock.IsOpen()) {
        throw Refuse(ExitStatus::NotStarted, folder.Path(), "no file can be made there: " + lock.Error().Text());
    }
    if (!lock.Lock()) {
        throw Refuse(ExitStatus::NotStarted, folder.Path(), "another run is writing there; wait for its end");
    }
    return lock;
}

}  // namespace

void RefuseSameDevice(const fs::path& path, const std::vector<std::string>& imageFiles) {
    if (std::ranges::any_of(imageFiles, [&](const std::string& file) { return LiesOnDevice(path, file); })) {
        throw Refuse(ExitStatus::Usage, path,
                     "it lies on the device that is being recovered, and writing there destroys what is to be found; "
                     "name a place on another disk");
    }
}

OutFolder PrepareOutFolder(const fs::path& path, const JobIdentity& job, const RunInputs& inputs, FolderUse use) {
    RefuseSameDevice(path, inputs.imageFiles);
    RefuseInputsAsOutputs(path, inputs);
    std::error_code error;
    const bool isNew = fs::create_directories(path, error);
    if (error) {
        throw Refuse(ExitStatus::NotStarted, path, error.message());
    }
    Folder folder = Folder::Open(path);
    if (!folder.IsOpen()) {
        throw Refuse(ExitStatus::NotStarted, path, folder.Error().Text());
    }
    RequireAllowed(folder, job, use);
    GiveUpRootRights(folder, isNew);
    File lock = use == FolderUse::Share ? File(SystemError()) : TakeLock(folder);
    // Another run may have been there in the meantime.
    RequireAllowed(folder, job, use);
    const bool isOfJob = IsEmpty(folder) || BelongsToJob(folder, job);
    MarkWithJob(folder, job);
    return {std::move(folder), std::move(lock), isOfJob};
}

}  // namespace salvor
