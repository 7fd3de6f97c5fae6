#include "host/validate/validate_run.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <filesystem>

#include "host/platform/stop_request.h"
#include "host/say/progress.h"
#include "host/validate/outcomes_file.h"

namespace salvor {

namespace {

using std::chrono::steady_clock;

class FileObserver : public ValidateObserver {
public:
    FileObserver(OutcomesWriter& writer, Medium& medium, bool quiet)
        : writer_(writer), medium_(medium), progress_("validating", medium.SizeInBytes() * PhaseCount, quiet) {}

    bool OnPlace(Validator::Phase phase, std::int64_t byte) override {
        progress_.Update(static_cast<std::int64_t>(phase) * medium_.SizeInBytes() + byte, counts_);
        if (const auto now = steady_clock::now(); now >= nextSync_) {
            writer_.AddUnreadable(medium_.TakeNewlyUnreadable().Ranges());
            writer_.Sync();
            nextSync_ = now + SyncInterval;
        }
        return StopRequested();
    }

    void OnFinding(const KnownFinding& finding) override {
        writer_.AddFinding(finding);
        if (finding.finding.verdict != Verdict::NoFile && finding.finding.type >= 0) {
            ++counts_[ExtensionOf(finding.finding)];
        }
    }

private:
    static constexpr std::int64_t PhaseCount = 3;
    static constexpr std::chrono::seconds SyncInterval{2};

    OutcomesWriter& writer_;
    Medium& medium_;
    Progress progress_;
    std::map<std::string, std::int64_t> counts_;
    steady_clock::time_point nextSync_ = steady_clock::now() + SyncInterval;
};

}  // namespace

std::string OutcomesPathOf(const std::string& findsPath) {
    const std::filesystem::path path(findsPath);
    std::string name = path.filename().string();
    constexpr std::string_view finds = "finds";
    const std::size_t at = name.rfind(finds);
    name = at == std::string::npos ? name + ".outcomes" : name.replace(at, finds.size(), "outcomes");
    return (path.parent_path() / name).string();
}

Validation ValidateWithFile(Medium& medium, const Sightings& seen, const std::map<std::int32_t, std::int64_t>& caps,
                            const FilePlace& place, const std::optional<FilePlace>& earlier, bool quiet) {
    const std::string digest = DigestOf(medium, seen, caps);
    OutcomesRead known;
    SectorRangeSet unreadable;
    for (const std::optional<FilePlace>& one : {std::optional(place), earlier}) {
        auto read = one ? ReadOutcomes(*one) : std::nullopt;
        if (!read || read->digest != digest) {
            continue;
        }
        medium.NoteUnreadable(read->unreadable);
        std::ranges::for_each(read->unreadable, [&](SectorRange range) { unreadable.Add(range); });
        if (read->validation.complete) {
            return std::move(read->validation);
        }
        if (read->known.size() > known.known.size()) {
            known = *std::move(read);
        }
    }
    OutcomesWriter writer(place, digest);
    writer.AddUnreadable(unreadable.Ranges());
    FileObserver observer(writer, medium, quiet);
    ValidateRequest request;
    request.caps = caps;
    request.known = known.known;
    Validation validation = ValidateFinds(medium, seen, request, observer);
    writer.AddUnreadable(medium.TakeNewlyUnreadable().Ranges());
    writer.Add(validation);
    return validation;
}

std::string OutcomesTable(const Validation& validation) {
    std::map<Verdict, std::int64_t> counts;
    for (const Outcome& outcome : validation.outcomes) {
        ++counts[outcome.finding.verdict];
    }
    return fmt::format("{} whole, {} open, {} truncated, {} damaged; {} finds are no files\n", counts[Verdict::Whole],
                       counts[Verdict::Open], counts[Verdict::Truncated], counts[Verdict::Damaged],
                       counts[Verdict::NoFile]);
}

}  // namespace salvor
