#include "host/say/progress.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <numeric>
#include <utility>
#include <vector>

#include "host/platform/terminal.h"
#include "host/say/size_text.h"

namespace salvor {

namespace {

using std::chrono::steady_clock;
constexpr std::chrono::milliseconds TerminalInterval(200);
constexpr std::chrono::seconds PlainInterval(5);
constexpr std::chrono::seconds JsonInterval(1);

bool isJson = false;

std::int64_t CountOf(const std::map<std::string, std::int64_t>& files) {
    const auto add = [](std::int64_t sum, const auto& kind) {
        return sum + kind.second;
    };
    return std::accumulate(files.begin(), files.end(), std::int64_t{0}, add);
}

std::string FormatDuration(double seconds) {
    const auto whole = static_cast<std::int64_t>(seconds);
    if (whole < 60) {
        return fmt::format("{} s", whole);
    }
    return whole < 3600 ? fmt::format("{}:{:02} min", whole / 60, whole % 60)
                        : fmt::format("{}:{:02} h", whole / 3600, whole / 60 % 60);
}

// The most frequent kinds first, as many as fit a line.
std::string FormatCounts(const std::map<std::string, std::int64_t>& files) {
    std::vector<std::pair<std::int64_t, std::string>> kinds;
    kinds.reserve(files.size());
    for (const auto& [extension, count] : files) {
        kinds.emplace_back(-count, extension);
    }
    std::ranges::sort(kinds);
    std::string text = Counted(CountOf(files), "file");
    for (std::size_t i = 0; i < kinds.size() && i < 6; ++i) {
        text += fmt::format("{} {} {}", i == 0 ? ":" : ",", -kinds[i].first, kinds[i].second);
    }
    return text;
}

}  // namespace

Progress::Progress(std::string verb, std::int64_t total, bool quiet)
    : verb_(std::move(verb)),
      total_(total),
      quiet_(quiet),
      onTerminal_(CanRedrawLine()),
      start_(steady_clock::now()),
      nextUpdate_(start_ +
                  (onTerminal_ || isJson ? steady_clock::duration::zero() : steady_clock::duration(PlainInterval))) {}

Progress::~Progress() {
    Clear();
    if (isJson) {
        PutJson();
    }
}

void Progress::TellAsJson() { isJson = true; }

void Progress::Clear() {
    if (drawn_) {
        std::fputs("\r\x1B[K", stderr);
        drawn_ = false;
    }
}

void Progress::Update(std::int64_t done, const std::map<std::string, std::int64_t>& files) {
    const auto now = steady_clock::now();
    if (isJson) {
        // Several threads may report, some of them late.
        done_ = std::max(done_, done);
        files_ = CountOf(files);
        if (now >= nextUpdate_) {
            PutJson();
            nextUpdate_ = now + JsonInterval;
        }
        return;
    }
    if (quiet_ || now < nextUpdate_) {
        return;
    }
    std::string line = Line(done, files);
    if (onTerminal_) {
        if (const std::size_t columns = TerminalColumns(); line.size() > columns) {
            // A count that does not fit is left out.
            line.resize(std::min(line.rfind(',', columns), columns));
        }
        std::fputs(fmt::format("\r{}\x1B[K", line).c_str(), stderr);
        std::fflush(stderr);
        drawn_ = true;
        nextUpdate_ = now + TerminalInterval;
    } else {
        std::fputs((line + '\n').c_str(), stderr);
        nextUpdate_ = now + PlainInterval;
    }
}

double Progress::Seconds() const { return std::chrono::duration<double>(steady_clock::now() - start_).count(); }

void Progress::PutJson() const {
    std::fputs(fmt::format("{{\"progress\":\"{}\",\"done\":{},\"total\":{},\"files\":{},\"seconds\":{:.1f}}}\n", verb_,
                           done_, total_, files_, Seconds())
                   .c_str(),
               stderr);
    std::fflush(stderr);
}

std::string Progress::Line(std::int64_t done, const std::map<std::string, std::int64_t>& files) const {
    const double seconds = Seconds();
    const double speed = seconds > 0 ? static_cast<double>(done) / seconds : 0;
    const double percent = total_ > 0 ? 100.0 * static_cast<double>(done) / static_cast<double>(total_) : 100.0;
    std::string line = fmt::format("{} {:.1f}%", verb_, percent);
    if (speed > 0) {
        line += fmt::format("  {}/s  {} left", FormatSize(static_cast<std::int64_t>(speed)),
                            FormatDuration(static_cast<double>(total_ - done) / speed));
    }
    return files.empty() ? line : line + "  " + FormatCounts(files);
}

}  // namespace salvor
