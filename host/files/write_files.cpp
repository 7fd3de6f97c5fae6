#include "host/files/write_files.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace salvor {

namespace {

// A reader, a hasher and a writer keep two processors busy; more files at once than this would make a disk seek.
constexpr unsigned MostWriters = 4;
// How many files may be finished while an earlier one is not.
constexpr std::size_t MostAhead = 1024;

bool WouldFit(const Folder& folder, std::int64_t bytes) {
    const std::optional<FreeSpace> space = folder.Space();
    return !space || space->bytes >= bytes;
}

class SideBySide {
public:
    SideBySide(Medium& medium, const WriteJob& job)
        : medium_(medium),
          job_(job),
          files_(job.files),
          folders_(job.folder, job.partialSuffix),
          results_(std::min(MostAhead, files_.size())) {
        const unsigned writers = std::clamp(std::thread::hardware_concurrency(), 1U, MostWriters);
        for (unsigned i = 0; i < writers && i < files_.size(); ++i) {
            threads_.emplace_back([this] { WriteSome(); });
        }
    }
    SideBySide(const SideBySide&) = delete;
    SideBySide& operator=(const SideBySide&) = delete;
    ~SideBySide() {
        EndWriters();
        for (; taken_ < next_; ++taken_) {
            if (NextResult() && NextResult()->outcome == WriteOutcome::Draft) {
                folders_.RemoveDraft(files_[taken_]);
            }
        }
    }

    bool HandOn(WriteObserver& observer) {
        while (handedOn_ < files_.size()) {
            do {
                if (observer.OnProgress(bytes_)) {
                    EndWriters();
                    HandOnFinished(observer);
                    return false;
                }
            } while (ready_.empty() && !TakeReady());
            HandOnNext(observer);
        }
        // Counts what was written while waiting for the last file.
        observer.OnProgress(bytes_);
        return true;
    }

private:
    void EndWriters() {
        stop_ = true;
        { const std::lock_guard lock(mutex_); }
        changed_.notify_all();
        for (std::thread& thread : threads_) {
            thread.join();
        }
        threads_.clear();
    }

    void HandOnNext(WriteObserver& observer) {
        const WriteResult result = std::move(ready_.front());
        ready_.pop_front();
        observer.OnFile(files_[handedOn_++], result);
    }

    // After the writers ended: whatever has its final name. Drafts have none yet.
    void HandOnFinished(WriteObserver& observer) {
        for (; !job_.content.unique && taken_ < next_; ++taken_) {
            ready_.push_back(*std::exchange(NextResult(), std::nullopt));
        }
        while (!ready_.empty()) {
            HandOnNext(observer);
        }
    }

    // Takes the results of the next files, as many as are done; false if none arrived within a while.
    bool TakeReady() {
        constexpr std::chrono::milliseconds interval(100);
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, interval, [this] { return NextResult().has_value(); });
        const std::size_t first = taken_;
        for (; taken_ < files_.size() && NextResult(); ++taken_) {
            ready_.push_back(*std::exchange(NextResult(), std::nullopt));
        }
        lock.unlock();
        changed_.notify_all();
        for (std::size_t i = 0; i < ready_.size(); ++i) {
            Settle(first + i, ready_[i]);
        }
        return !ready_.empty();
    }

    // In the plan's order, so that the choice among duplicates does not depend on how the writers are scheduled.
    void Settle(std::size_t number, WriteResult& result) {
        const bool isThere = result.outcome == WriteOutcome::Draft || result.outcome == WriteOutcome::AlreadyThere;
        const bool isDraft = result.outcome == WriteOutcome::Draft;
        if (const auto earlier =
                job_.content.unique && isThere ? same_.EarlierOf(result.sha256, number) : std::nullopt) {
            result.outcome = WriteOutcome::SameBytes;
            result.sameAs = files_[*earlier].path;
            if (isDraft) {
                folders_.RemoveDraft(files_[number]);
            }
        } else if (isDraft) {
            folders_.KeepDraft(files_[number], result);
        }
    }

    std::optional<WriteResult>& NextResult() { return results_[taken_ % results_.size()]; }

    void WriteSome() {
        std::int64_t bytesOfFile = 0;
        FileWriter writer(
            medium_, job_.folder, job_.partialSuffix,
            [this, &bytesOfFile](std::int64_t done) {
                bytes_ += done - bytesOfFile;
                bytesOfFile = done;
                return stop_.load();
            },
            &job_.content.known, &job_.log);
        while (const std::optional<std::size_t> index = TakeNext()) {
            bytesOfFile = 0;
            const PlannedFile& file = files_[*index];
            WriteResult result;
            if (diskWasFull_ && !WouldFit(job_.folder, file.Size())) {
                result.Fail(SystemError::DiskFull());
            } else {
                result = job_.content.unique ? writer.WriteDraft(file) : writer.Write(file);
                diskWasFull_ = diskWasFull_ || result.diskIsFull;
            }
            bytes_ += file.Size() - bytesOfFile;
            const std::lock_guard lock(mutex_);
            results_[*index % results_.size()] = std::move(result);
            if (*index == taken_) {
                changed_.notify_all();
            }
        }
    }

    std::optional<std::size_t> TakeNext() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return stop_ || next_ == files_.size() || next_ < taken_ + results_.size(); });
        return stop_ || next_ == files_.size() ? std::nullopt : std::optional(next_++);
    }

    Medium& medium_;
    const WriteJob& job_;
    const PlannedFiles& files_;
    FileFolders folders_;
    SameBytes same_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::atomic<bool> stop_ = false;
    std::atomic<bool> diskWasFull_ = false;
    std::atomic<std::int64_t> bytes_ = 0;
    // The result of file n is in slot n modulo the count.
    std::vector<std::optional<WriteResult>> results_;
    std::size_t next_ = 0;
    // Results of files before this one have been taken; those not handed on yet are in `ready_`.
    std::size_t taken_ = 0;
    std::size_t handedOn_ = 0;
    std::deque<WriteResult> ready_;
    std::vector<std::thread> threads_;
};

}  // namespace

bool WriteFiles(Medium& medium, const WriteJob& job, WriteObserver& observer) {
    return SideBySide(medium, job).HandOn(observer);
}

}  // namespace salvor
