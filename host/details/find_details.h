#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <future>
#include <vector>

#include "host/details/previews.h"
#include "host/medium/image_spec.h"
#include "host/medium/medium.h"
#include "host/plan/plan.h"
#include "host/platform/folder.h"

namespace salvor {

/// The details of a plan's pictures, films, sounds and documents, which worker processes read. Previews inside files
/// that no browser shows go to the folder's `PreviewFolder`, if there is a folder and the filter keeps the file. A file
/// on which a worker crashes has no details; if no worker can be started, no file has.
class DetailsOfFiles {
public:
    /// All arguments outlive this. `image` says how workers open the medium; `folder` may be null.
    DetailsOfFiles(Medium& medium, const ImageSpec& image, const PlannedFiles& files, const PlanFilter& filter,
                   const Folder* folder)
        : medium_(medium), image_(image), files_(files), previews_(folder, filter) {}

    DetailsOfFiles(const DetailsOfFiles&) = delete;
    DetailsOfFiles& operator=(const DetailsOfFiles&) = delete;
    ~DetailsOfFiles() { isLeft_ = true; }

    /// Indices must ascend: some thousand files are looked at in one go, the next ones meanwhile, and only their
    /// details are kept. The files must not change until the last index was asked for.
    const FileDetails& Of(std::size_t index);

private:
    // The details of some files, and the index of the first of these.
    struct Batch {
        std::size_t from = 0;
        std::vector<FileDetails> found;
        std::size_t End() const { return from + found.size(); }
    };

    void Begin(std::size_t from);
    Batch Find(std::size_t from);

    Medium& medium_;
    const ImageSpec& image_;
    const PlannedFiles& files_;
    Batch now_;
    // Only the thread that finds a batch uses these, and there is one at a time.
    Previews previews_;
    bool hasGivenUp_ = false;
    std::atomic<bool> isLeft_ = false;
    // The batch behind `now_`. Goes first, as its thread uses the others.
    std::future<Batch> next_;
};

/// Notes the details of all files in the plan, for a filter that asks for them.
void NoteDetails(Medium& medium, const ImageSpec& image, Plan& plan, const PlanFilter& filter, const Folder* folder);

}  // namespace salvor
