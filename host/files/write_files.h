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

/// Writes a plan's files into the folder, several at a time, so that reading, hashing and writing overlap. On a full
/// disk, files that cannot fit are not begun; smaller ones after them may still fit. If `content` wants only one of
/// several files with the same bytes, the plan's first is kept. False if the observer stopped it: later files
/// are then not begun, and those that are finished are handed on. For `partialSuffix` see `FileFolders`, for `log`
/// `FileWriter`.
bool WriteFiles(Medium& medium, const Plan& plan, const Folder& folder, const std::string& partialSuffix,
                const ContentFilter& content, WritingLog& log, WriteObserver& observer);

}  // namespace salvor
