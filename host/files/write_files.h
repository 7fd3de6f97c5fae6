#pragma once

#include <cstdint>
#include <string>

#include "host/files/file_writer.h"
#include "host/plan/plan.h"

namespace salvor {

/// Receives the progress of `WriteFiles`, on the thread that called it.
class WriteObserver {
public:
    virtual ~WriteObserver() = default;
    /// A file is finished; called in the plan's order. After a stop, the outcome may be `Stopped`, with finished files
    /// after it.
    virtual void OnFile(const PlannedFile& file, const WriteResult& result) = 0;
    /// Called several times a second: bytes written so far, including those of unfinished files. True stops the run.
    virtual bool OnProgress(std::int64_t bytes) = 0;
};

/// What is written, and where. All that is referred to outlives the call.
struct WriteJob {
    const PlannedFiles& files;
    const Folder& folder;
    /// See `FileFolders`.
    const std::string& partialSuffix;
    const ContentFilter& content;
    /// See `FileWriter`.
    WritingLog& log;
};

/// Writes files into a folder, several at a time, so that reading, hashing and writing overlap. On a full
/// disk, files that cannot fit are not begun; smaller ones after them may still fit. If only one of several files with
/// the same bytes is wanted, the plan's first is kept. False if the observer stopped it: later files are then not
/// begun, and those that are finished are handed on.
bool WriteFiles(Medium& medium, const WriteJob& job, WriteObserver& observer);

}  // namespace salvor
