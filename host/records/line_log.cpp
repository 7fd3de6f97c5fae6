#include "host/records/line_log.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "host/say/failure.h"
#include "host/say/full_disk.h"

namespace salvor {

LineLog::LineLog(const FilePlace& place, std::string what) : LineLog(place, std::move(what), "") { place_.SyncEntry(); }

LineLog::LineLog(const FilePlace& place, std::string what, const std::string& draftSuffix)
    : place_(place),
      draft_(draftSuffix.empty() ? place : place.Draft(draftSuffix)),
      name_(place.Text()),
      what_(std::move(what)),
      file_(draft_.Create()) {
    if (!file_.IsOpen()) {
        throw Failure(ExitStatus::NotStarted,
                      fmt::format("cannot create the {} '{}': {}", what_, name_, file_.Error().Text()));
    }
}

void LineLog::Add(const std::string& lines) {
    // A longer backlog is written without waiting for `Flush`.
    constexpr std::size_t pendingLimit = 1U << 20U;
    pending_ += lines;
    if (pending_.size() > pendingLimit) {
        Flush();
    }
}

void LineLog::Flush() {
    const std::string text = std::exchange(pending_, {});
    Require(file_.Write(text.data(), text.size()), "write", file_.Error());
}

void LineLog::Sync() {
    Flush();
    Require(file_.Sync(), "store", file_.Error());
}

void LineLog::TakeName() {
    Sync();
    const SystemError error = place_.TakeFrom(draft_);
    Require(!error, "store", error);
    place_.SyncEntry();
}

void LineLog::Require(bool done, const char* verb, const SystemError& error) const {
    if (!done) {
        throw Failure(ExitStatus::Losses, fmt::format("cannot {} the {} '{}': {}; the run ends here", verb, what_,
                                                      name_, WhyNotWritten(error)));
    }
}

std::string LastLineOf(File& file) {
    constexpr std::int64_t longest = std::int64_t{1} << 20;
    const std::int64_t size = file.Size().value_or(0);
    std::string end(static_cast<std::size_t>(std::min(size, longest)), ' ');
    if (!file.ReadAt(size - std::ssize(end), end.data(), end.size()) || !end.ends_with('\n')) {
        return "";
    }
    end.pop_back();
    const std::size_t before = end.rfind('\n');
    return before == std::string::npos && size > longest ? "" : end.substr(before + 1);
}

bool LineReader::Next(std::string& line) {
    // The record of a file may list many others that begin inside it.
    constexpr std::size_t longest = std::size_t{16} << 20U;
    line.clear();
    wasCut_ = true;
    bool isAny = false;
    bool tooLong = false;
    while (wasCut_ && (next_ < end_ || Fill())) {
        isAny = true;
        const char* const from = buffer_.data() + next_;
        const char* const to = std::find(from, static_cast<const char*>(buffer_.data()) + end_, '\n');
        tooLong = tooLong || line.size() + static_cast<std::size_t>(to - from) > longest;
        if (!tooLong) {
            line.append(from, to);
        }
        next_ = static_cast<std::size_t>(to - buffer_.data());
        if (next_ < end_) {
            ++next_;
            wasCut_ = false;
        }
    }
    if (tooLong) {
        line.clear();
    }
    return isAny;
}

bool LineReader::Fill() {
    next_ = 0;
    end_ = file_.Read(buffer_.data(), buffer_.size());
    filled_ += static_cast<std::int64_t>(end_);
    return end_ > 0;
}

}  // namespace salvor
