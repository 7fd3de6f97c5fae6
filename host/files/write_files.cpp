#include "host/files/write_files.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace salvor {

namespace {

// A reader, a hasher and a writer keep two processors busy; more files at once than this make a disk seek.
constexpr unsigned MostWriters = 4;
// Files that may be done while one in front of them is not.
constexpr std::size_t MostAhead = 1024;

bool WouldFit(const Folder& folder, std::int64_t bytes) {
    const std::optional<FreeSpace> space = folder.Space();
    return !space || space->bytes >= bytes;
}

class SideBySide {
public:
    SideBySide(Medium& medium, const Plan& plan, const Folder& folder)
        : medium_(medium), files_(plan.files), folder_(folder), results_(std::min(MostAhead, files_.size())) {
        const unsigned writers = std::clamp(std::thread::hardware_concurrency(), 1U, MostWriters);
        for (unsigned i = 0; i < writers && i < files_.size(); ++i) {
            threads_.emplace_back([this] { WriteSome(); });
        }
    }
    SideBySide(const SideBySide&) = delete;
    SideBySide& operator=(const SideBySide&) = delete;
    ~SideBySide() {
        stop_ = true;
        { const std::lock_guard lock(mutex_); }
        changed_.notify_all();
        for (std::thread& thread : threads_) {
            thread.join();
        }
    }

    bool HandOn(WriteObserver& observer) {
        constexpr std::chrono::milliseconds interval(100);
        while (handedOn_ < files_.size()) {
            if (observer.OnProgress(bytes_)) {
                return false;
            }
            std::unique_lock lock(mutex_);
            std::optional<WriteResult>& slot = results_[handedOn_ % results_.size()];
            if (!changed_.wait_for(lock, interval, [&slot] { return slot.has_value(); })) {
                continue;
            }
            const WriteResult result = *std::exchange(slot, std::nullopt);
            const std::size_t index = handedOn_++;
            lock.unlock();
            changed_.notify_all();
            if (result.outcome == WriteOutcome::Stopped) {
                return false;
            }
            observer.OnFile(files_[index], result);
        }
        return true;
    }

private:
    void WriteSome() {
        std::int64_t bytesOfFile = 0;
        FileWriter writer(medium_, folder_, [this, &bytesOfFile](std::int64_t done) {
            bytes_ += done - bytesOfFile;
            bytesOfFile = done;
            return stop_.load();
        });
        while (const std::optional<std::size_t> index = TakeNext()) {
            bytesOfFile = 0;
            const PlannedFile& file = files_[*index];
            WriteResult result;
            if (diskWasFull_ && !WouldFit(folder_, file.Size())) {
                result.Fail(SystemError::DiskFull());
            } else {
                result = writer.Write(file);
                diskWasFull_ = diskWasFull_ || result.diskIsFull;
            }
            bytes_ += file.Size() - bytesOfFile;
            const std::lock_guard lock(mutex_);
            results_[*index % results_.size()] = std::move(result);
            changed_.notify_all();
        }
    }

    std::optional<std::size_t> TakeNext() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return stop_ || next_ == files_.size() || next_ < handedOn_ + results_.size(); });
        return stop_ || next_ == files_.size() ? std::nullopt : std::optional(next_++);
    }

    Medium& medium_;
    const std::vector<PlannedFile>& files_;
    const Folder& folder_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::atomic<bool> stop_ = false;
    std::atomic<bool> diskWasFull_ = false;
    std::atomic<std::int64_t> bytes_ = 0;
    // Of file n in slot n modulo the count.
    std::vector<std::optional<WriteResult>> results_;
    std::size_t next_ = 0;
    std::size_t handedOn_ = 0;
    std::vector<std::thread> threads_;
};

}  // namespace

bool WriteFiles(Medium& medium, const Plan& plan, const Folder& folder, WriteObserver& observer) {
    return SideBySide(medium, plan, folder).HandOn(observer);
}

}  // namespace salvor
