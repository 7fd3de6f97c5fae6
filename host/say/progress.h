#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>

namespace salvor {

/// Shows the user how far the work is: one line that is redrawn on a terminal, plain lines every few seconds elsewhere,
/// nothing when quiet. Writes to stderr.
class Progress {
public:
    /// `verb` says what is being done ("scanning"); `total` in bytes.
    Progress(std::string verb, std::int64_t total, bool quiet);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress();

    /// From now on progress is written for a program, even with `quiet`: one line of JSON a second.
    static void TellAsJson();

    /// Erases the line on a terminal, to make room for another message.
    void Clear();

    /// `done` bytes of the total are done; `files` counts what was found by kind: by extension or by verdict.
    void Update(std::int64_t done, const std::map<std::string, std::int64_t>& files);

private:
    std::string Line(std::int64_t done, const std::map<std::string, std::int64_t>& files) const;
    double Seconds() const;
    void PutJson() const;

    std::string verb_;
    std::int64_t total_;
    bool quiet_;
    bool onTerminal_;
    std::chrono::steady_clock::time_point start_;
    std::chrono::steady_clock::time_point nextUpdate_;
    bool drawn_ = false;
    // The last reported values, for JSON.
    std::int64_t done_ = 0;
    std::int64_t files_ = 0;
};

}  // namespace salvor
