#include "host/app/scan_run.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <filesystem>
#include <limits>

#include "host/medium/open_image.h"
#include "host/plan/size_rules.h"
#include "host/platform/mounts.h"
#include "host/platform/stop_request.h"
#include "host/say/failure.h"
#include "host/say/progress.h"
#include "host/say/say.h"
#include "host/say/size_text.h"
#include "host/scan/scan_job.h"
#include "host/scan/scanners.h"
#include "host/volumes/learn.h"

namespace salvor {

namespace {

using std::chrono::steady_clock;

class JournalObserver : public ScanObserver {
public:
    JournalObserver(PreparedScan& scan, JournalWriter& journal, ScanOutcome& outcome, bool quiet)
        : scan_(scan),
          journal_(journal),
          outcome_(outcome),
          range_(scan.header.ScannedRange()),
          progress_("scanning", BytesUpTo(range_.first + range_.count), quiet) {}

    void OnFind(const Find& find) override {
        journal_.AddFind(find);
        outcome_.seen.finds.push_back(find);
        ++outcome_.summary.findsByType[find.type];
        ++countsByExtension_[ExtensionOf(find.type)];
    }

    void OnStart(std::int64_t sector) override {
        journal_.AddStart(sector);
        outcome_.seen.starts.push_back(sector);
    }

    void OnTextStart(std::int64_t sector) override {
        journal_.AddTextStart(sector);
        outcome_.seen.AddTextStart(sector);
    }

    void OnZeros(SectorRange sectors) override { outcome_.seen.AddZeros(sectors); }

    void OnBlockDone(std::int64_t nextSector) override {
        const std::int64_t done = BytesUpTo(nextSector);
        outcome_.summary.bytesScanned = done;
        if (const auto unreadable = scan_.medium.Scanned().TakeNewlyUnreadable(); unreadable.SectorCount() > 0) {
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
    // Bytes of the range before a sector; the medium's last sector may be partial.
    std::int64_t BytesUpTo(std::int64_t sector) const {
        const std::int64_t sectorSize = scan_.header.sectorSize;
        const Medium& medium = scan_.medium.Scanned();
        const std::int64_t end = sector == medium.SectorCount() ? medium.SizeInBytes() : sector * sectorSize;
        return end - range_.first * sectorSize;
    }

    PreparedScan& scan_;
    JournalWriter& journal_;
    ScanOutcome& outcome_;
    SectorRange range_;
    Progress progress_;
    std::map<std::string, std::int64_t> countsByExtension_;
    steady_clock::time_point nextMark_ = steady_clock::now();
};

Failure UsageError(const std::string& line) { return {ExitStatus::Usage, line}; }

// A whole number in decimal digits.
std::int64_t ParseNumber(const std::string& option, const std::string& text) {
    std::int64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (stop != end || error != std::errc() || number < 0) {
        throw UsageError(fmt::format("{}: '{}' is not a whole number of 0 or more", option, text));
    }
    return number;
}

std::int32_t SectorSizeOf(const ScanOptions& options) {
    const std::int64_t size = ParseNumber("--sector-size", options.sectorSize);
    if (size < SmallestSectorSize || size > LargestSectorSize) {
        throw UsageError(fmt::format("--sector-size: '{}' is not from {} to {} bytes", options.sectorSize,
                                     SmallestSectorSize, LargestSectorSize));
    }
    return static_cast<std::int32_t>(size);
}

std::int64_t BlockSizeOf(const ScanOptions& options, std::int32_t sectorSize) {
    constexpr std::int64_t largestBlock = std::int64_t{1} << 30;
    const auto size = ParseSize(options.blockSize);
    if (!size || *size < sectorSize || *size > largestBlock) {
        throw UsageError(fmt::format("--block-size: '{}' is not a size from one sector to 1 GiB; write for example 4M",
                                     options.blockSize));
    }
    return *size / sectorSize * sectorSize;
}

// Engines that serve several types have fixed caps of their own.
std::map<std::int32_t, std::int64_t> CapsOf(const ScanOptions& options, const std::vector<std::int32_t>& types) {
    const SizeRule rule = ParseSizeRule("--cap", options.caps);
    std::map<std::int32_t, std::int64_t> caps;
    for (const std::int32_t type : types) {
        const auto cap = rule.For(type);
        if (cap == 0) {
            throw UsageError("--cap: a cap is at least 1 byte");
        }
        if (cap && FileTypeCatalog[type].maxSize > 0) {
            caps[type] = *cap;
        } else if (rule.forType.contains(type)) {
            Say("--cap: {} (type {}) keeps the cap of its engine", ExtensionOf(type), type);
        }
    }
    return caps;
}

// Writing to a mounted volume may overwrite files during the scan, and what is read then is inconsistent.
void RefuseMounted(const ScanOptions& options) {
    const std::vector<std::string> places = MountedForWriting(options.image.path);
    if (!places.empty() && !options.mounted) {
        throw UsageError(fmt::format(
            "'{}' is mounted for writing at '{}', and every write may destroy what is to be found; unmount it or "
            "mount it read-only, or pass --mounted to go on nevertheless",
            options.image.path, places.front()));
    }
}

SpaceKind KindOf(const ScanOptions& options) {
    const auto kind = SpaceNamed(options.space);
    if (!kind) {
        throw UsageError(fmt::format("--space: '{}' is not one of all, free, free+slack", options.space));
    }
    if (*kind != SpaceKind::All && (options.start != "0" || !options.length.empty())) {
        throw UsageError("--space takes no --start and no --length; name a volume with --volume");
    }
    return *kind;
}

// The sectors of a volume, by its number.
SectorRange RangeOfVolume(Medium& medium, const ScanOptions& options) {
    const std::int64_t wanted = ParseNumber("--volume", options.volume);
    const Knowledge knowledge = LearnVolumes(medium, options.image, {});
    const auto found =
        std::ranges::find_if(knowledge.volumes, [wanted](const Volume& volume) { return volume.number == wanted; });
    if (found == knowledge.volumes.end()) {
        throw UsageError(fmt::format("--volume: the image '{}' has {}; 'salvor info' lists what it holds",
                                     options.image.path, Counted(std::ssize(knowledge.volumes), "volume")));
    }
    return found->sectors;
}

}  // namespace

PreparedScan PrepareScan(const ScanOptions& options, const std::vector<std::int32_t>& types) {
    JournalHeader header;
    header.image = Absolute(options.image);
    header.sectorSize = SectorSizeOf(options);
    header.blockSize = BlockSizeOf(options, header.sectorSize);
    header.types = types;
    header.caps = CapsOf(options, types);
    const std::int64_t start = ParseNumber("--start", options.start);
    // Without a length, the scan goes on to the medium's end.
    const std::int64_t length =
        options.length.empty() ? std::numeric_limits<std::int64_t>::max() : ParseNumber("--length", options.length);
    KindOf(options);
    RefuseMounted(options);
    auto medium = OpenMedium(options.image, header.sectorSize, {options.skipBad, StopRequested});
    header.imageSize = medium->SizeInBytes();
    const std::int64_t sectors = medium->SectorCount();
    if (start >= sectors) {
        throw UsageError(fmt::format("--start: the image '{}' has sectors 0 to {}", options.image.path, sectors - 1));
    }
    const std::int64_t left = sectors - start;
    header.range =
        options.volume.empty() ? SectorRange{start, std::min(length, left)} : RangeOfVolume(*medium, options);
    return {ScanMedium(std::move(medium), {options.skipBad, StopRequested}), std::move(header)};
}

void FindSpace(PreparedScan& scan, const ScanOptions& options) {
    if (const SpaceKind kind = KindOf(options); kind != SpaceKind::All) {
        scan.header.space = LearnSpace(scan.medium.Image(), options.image, kind, scan.header.range);
        scan.medium.Join(scan.header.space);
    }
}

PreparedScan ReopenScan(const JournalHeader& header, const ImageSpec& image, bool skipBad) {
    const FailurePolicy policy{skipBad, StopRequested};
    PreparedScan scan{ScanMedium(OpenMedium(image, header.sectorSize, policy), policy), header};
    scan.header.image = Absolute(image);
    scan.medium.Join(header.space);
    return scan;
}

ScanOutcome RunScanWithJournal(PreparedScan& scan, JournalWriter& journal, bool quiet) {
    const ScanRequest request = RequestOf(scan.header);
    ScanOutcome outcome;
    const auto start = steady_clock::now();
    Medium& medium = scan.medium.Scanned();
    {
        journal.AddUnreadable(medium.Unreadable().Ranges());
        JournalObserver observer(scan, journal, outcome, quiet);
        outcome.complete = ScanRange(medium, request, observer);
    }
    outcome.summary.complete = outcome.complete;
    outcome.summary.seconds = std::chrono::duration<double>(steady_clock::now() - start).count();
    NoteUnreadable(scan.medium, outcome);
    journal.AddZeros(outcome.seen.zeros);
    journal.AddSummary(outcome.summary);
    journal.Sync();
    return outcome;
}

void NoteUnreadable(const ScanMedium& medium, ScanOutcome& outcome) {
    medium.ShareUnreadable();
    outcome.seen.unreadable = medium.Scanned().Unreadable().Ranges();
    outcome.summary.unreadable = medium.OnImage(outcome.seen.unreadable);
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
    table += fmt::format("{} {} in {}", summary.complete ? "scanned:" : "stopped:", Counted(finds, "find"),
                         FormatSize(summary.bytesScanned));
    // No time was needed for a scan that was already complete.
    table += summary.seconds > 0
                 ? fmt::format(" ({:.1f} s, {}/s)\n", summary.seconds, FormatSize(static_cast<std::int64_t>(speed)))
                 : "\n";
    std::int64_t unreadable = 0;
    for (const SectorRange& range : summary.unreadable) {
        unreadable += range.count;
    }
    if (unreadable > 0) {
        table += fmt::format("{} could not be read: zeros in their place\n", Counted(unreadable, "sector"));
    }
    return table;
}

}  // namespace salvor
