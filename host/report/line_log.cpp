#include "host/report/line_log.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <utility>

#include "host/app/failure.h"
#include "host/files/write_all.h"

namespace salvor {

LineLog::LineLog(const std::string& path, std::string what)
    : path_(path),
      what_(std::move(what)),
      fd_(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0666)) {
    if (!fd_.IsOpen()) {
        throw Failure(ExitStatus::NotStarted,
                      fmt::format("cannot create the {} '{}': {}", what_, path, ErrorText(errno)));
    }
}

void LineLog::Add(const std::string& lines) {
    // More than this is handed to the system before the caller flushes.
    constexpr std::size_t pendingLimit = 1U << 20U;
    pending_ += lines;
    if (pending_.size() > pendingLimit) {
        Flush();
    }
}

void LineLog::Flush() {
    const std::string text = std::exchange(pending_, {});
    if (!WriteAll(fd_.Get(), text.data(), text.size())) {
        throw Failure(ExitStatus::Losses,
                      fmt::format("cannot write the {} '{}': {}; the run ends here", what_, path_, ErrorText(errno)));
    }
}

void LineLog::Sync() {
    Flush();
    // A pipe or a terminal has nothing to synchronise; that is no loss.
    fdatasync(fd_.Get());
}

bool ReadLine(std::istream& file, std::string& line) {
    constexpr std::size_t longest = std::size_t{1} << 20U;
    bool tooLong = false;
    line.clear();
    int byte = file.get();
    if (byte == EOF) {
        return false;
    }
    for (; byte != EOF && byte != '\n'; byte = file.get()) {
        tooLong = tooLong || line.size() == longest;
        if (!tooLong) {
            line += static_cast<char>(byte);
        }
    }
    if (tooLong) {
        line.clear();
    }
    return true;
}

}  // namespace salvor
