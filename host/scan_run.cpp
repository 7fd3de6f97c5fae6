#include "scan_run.h"

#include <fmt/format.h>

#include <chrono>
#include <filesystem>

#include "progress.h"
#include "scanners.h"
#include "size_rules.h"
#include "stop_request.h"

namespace salvor {

namespace {

using std::chrono::steady_clock;

class JournalObserver : public ScanObserver {
public:
    JournalObserver(PreparedScan& scan, JournalWriter& journal, ScanOutcome& outcome, bool quiet)
        : scan_(scan),
          journal_(journal),
          outcome_(outcome),
          progress_("scanning", scan.header.range.count * scan.header.sectorSize, quiet) {}

    void OnFind(const Find& find) override {
        journal_.AddFind(find);
        outcome_.finds.push_back(find);
        ++outcome_.summary.findsByType[find.type];
        ++countsByExtension_[ExtensionOf(find.type)];
    }

    void OnBlockDone(std::int64_t nextSector) override {
        const std::int64_t done = (nextSector - scan_.header.range.first) * scan_.header.sectorSize;
        outcome_.summary.bytesScanned = done;
        if (const auto unreadable = scan_.medium->TakeNewlyUnreadable(); unreadable.SectorCount() > 0) {
            journal_.AddUnreadable(unreadable.Ranges());
        }
        const auto now = steady_clock::now();
        if (now >= nextMark_) {
            constexpr std::chrono::seconds markInterval(2);
            journal_.AddProgress(nextSector);
            journal_.Sync();
            nextMark_ = now + markInterval;
        } else {
            journal_.Flush();
        }
        progress_.Update(done, countsByExtension_);
    }

    bool StopRequested() override { return salvor::StopRequested(); }

private:
    PreparedScan& scan_;
    JournalWriter& journal_;
    ScanOutcome& outcome_;
    Progress progress_;
    std::map<std::string, std::int64_t> countsByExtension_;
    steady_clock::time_point nextMark_ = steady_clock::now();
};

Failure UsageError(const std::string& line) { return {ExitStatus::Usage, line}; }

std::int64_t BlockSizeOf(const ScanOptions& options) {
    constexpr std::int64_t largestBlock = std::int64_t{1} << 30;
    const auto size = ParseSize(options.blockSize);
    if (!size || *size < options.sectorSize || *size > largestBlock) {
        throw UsageError(fmt::format("--block-size: '{}' is no size from one sector to 1 GiB; write for example 4M",
                                     options.blockSize));
    }
    return *size / options.sectorSize * options.sectorSize;
}

}  // namespace

PreparedScan PrepareScan(const ScanOptions& options, const std::vector<std::int32_t>& types) {
    JournalHeader header;
    header.imagePath = std::filesystem::absolute(options.image).lexically_normal().string();
    header.sectorSize = options.sectorSize;
    header.blockSize = BlockSizeOf(options);
    header.types = types;
    const SizeRule caps = ParseSizeRule("--cap", options.caps);
    for (const std::int32_t type : types) {
        if (const auto cap = caps.For(type)) {
            header.caps[type] = *cap;
        }
    }
    auto medium = std::make_unique<Medium>(OpenDevice(options.image), options.sectorSize);
    header.imageSize = medium->SizeInBytes();
    const std::int64_t sectors = medium->SectorCount();
    if (options.start < 0 || options.start >= sectors) {
        throw UsageError(fmt::format("--start: the image '{}' has sectors 0 to {}", options.image, sectors - 1));
    }
    const std::int64_t left = sectors - options.start;
    header.range = {options.start, options.length < 0 ? left : std::min(options.length, left)};
    return {std::move(medium), std::move(header)};
}

ScanOutcome RunScanWithJournal(PreparedScan& scan, JournalWriter& journal, bool quiet) {
    const JournalHeader& header = scan.header;
    ScanRequest request;
    request.range = header.range;
    request.blockSectors = header.blockSize / header.sectorSize;
    request.types = header.types;
    request.caps = header.caps;

    ScanOutcome outcome;
    const auto start = steady_clock::now();
    {
        JournalObserver observer(scan, journal, outcome, quiet);
        outcome.complete = ScanRange(*scan.medium, request, observer);
    }
    outcome.summary.complete = outcome.complete;
    outcome.summary.seconds = std::chrono::duration<double>(steady_clock::now() - start).count();
    outcome.summary.unreadable = scan.medium->Unreadable().Ranges();
    journal.AddSummary(outcome.summary);
    journal.Sync();
    return outcome;
}

std::string ScanTable(const ScanSummary& summary) {
    std::map<std::string, std::int64_t> byExtension;
    std::int64_t finds = 0;
    for (const auto& [type, count] : summary.findsByType) {
        byExtension[ExtensionOf(type)] += count;
        finds += count;
    }
    std::string table;
    for (const auto& [extension, count] : byExtension) {
        table += fmt::format("{:<10} {:>10}\n", extension, count);
    }
    const double speed = summary.seconds > 0 ? static_cast<double>(summary.bytesScanned) / summary.seconds : 0;
    table +=
        fmt::format("{} {} finds in {} ({:.1f} s, {}/s)\n", summary.complete ? "scanned:" : "stopped:", finds,
                    FormatSize(summary.bytesScanned), summary.seconds, FormatSize(static_cast<std::int64_t>(speed)));
    std::int64_t unreadable = 0;
    for (const SectorRange& range : summary.unreadable) {
        unreadable += range.count;
    }
    if (unreadable > 0) {
        table += fmt::format("{} sectors could not be read and count as zeros\n", unreadable);
    }
    return table;
}

}  // namespace salvor
