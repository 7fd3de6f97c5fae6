#include "host/app/shown_files.h"

#include <fmt/format.h>

#include <cstddef>
#include <filesystem>
#include <optional>
#include <utility>
#include <vector>

#include "host/details/find_details.h"
#include "host/files/file_pieces.h"
#include "host/files/joined_plan.h"
#include "host/platform/stop_request.h"
#include "host/report/report.h"
#include "host/say/failure.h"
#include "host/say/progress.h"
#include "host/say/say.h"
#include "host/say/size_text.h"
#include "host/validate/outcomes_file.h"
#include "host/validate/validate_run.h"
#include "host/volumes/learn.h"
#include "host/volumes/original_names.h"

namespace salvor {

namespace {

namespace fs = std::filesystem;

// The options, parsed.
struct ShownChoice {
    PlanFilter filter;
    ContentFilter content;
    FileSystemUse fileSystems;
};

// The outcomes of finds that were validated before. Nothing is written when the user only looks. What the scan has seen
// is forgotten, as there may be much of it, except for the starts.
Outcomes OutcomesOf(FindsUse& finds, const std::string& path, const std::string& digest, const PlanFilter& filter) {
    Sightings seen = std::move(finds.journal.seen);
    finds.journal.seen = {};
    finds.journal.seen.starts = std::move(seen.starts);
    if (filter.asReported) {
        return ReportedOutcomes(seen.finds, ShapeOf(finds.medium), filter.types);
    }
    seen = {};
    std::optional<OutcomesRead> read = ReadOutcomes(FilePlace(OutcomesPathOf(path)));
    if (!read || !read->validation.complete || !read->digest.starts_with(digest)) {
        throw Failure(ExitStatus::NotStarted,
                      fmt::format("the finds in '{}' have not been validated; run 'salvor validate {}' first", path,
                                  ShellWord(path)));
    }
    return std::move(read->validation.outcomes);
}

// Decides which files their bytes exclude; must be asked in the files' order.
class ContentJudge {
public:
    explicit ContentJudge(const ContentFilter& content) : content_(content) {}

    HashKinds Kinds() const {
        HashKinds kinds = content_.known.Kinds();
        kinds.sha256 = kinds.sha256 || content_.unique;
        return kinds;
    }

    const char* ReasonAgainst(const FileHashes& hashes) {
        if (content_.known.Contains(hashes)) {
            return KnownFileReason;
        }
        return content_.unique && same_.EarlierOf(hashes.sha256, 0) ? SameBytesReason : nullptr;
    }

private:
    const ContentFilter& content_;
    SameBytes same_;
};

// Removes the files that their bytes exclude from the plan; for this the bytes are read.
void KeepByContent(Medium& medium, Plan& plan, const ContentFilter& content, ShownFiles& shown) {
    if (content.IsEmpty()) {
        return;
    }
    ContentJudge judge(content);
    std::int64_t total = 0;
    for (const PlannedFile& file : plan.files) {
        total = AddSizes(total, file.Size());
    }
    Progress progress("reading", total, /*quiet=*/false);
    std::int64_t bytes = 0;
    FilePieces pieces(medium, [&](std::int64_t done) {
        progress.Update(bytes + done, {});
        return StopRequested();
    });
    plan.files.EraseIf([&](const PlannedFile& file) {
        FileDigest digest(judge.Kinds());
        const auto add = [&digest](const std::uint8_t* piece, std::size_t length, std::int64_t /*offset*/) {
            digest.Add(piece, length);
            return true;
        };
        if (pieces.ForEach(file, add) == FilePieces::End::Stopped) {
            throw Failure(ExitStatus::Stopped, "stopped before all files were read");
        }
        bytes += file.Size();
        const char* const reason = judge.ReasonAgainst(digest.Hashes());
        if (reason != nullptr) {
            ++shown.leftOut[reason];
        }
        return reason != nullptr;
    });
    progress.Clear();
}

ShownFiles ShowPlanned(const std::string& path, const std::string& image, ShownChoice choice, const TakeFile& take) {
    FindsUse finds(path, {image}, /*skipBad=*/false);
    Medium& medium = finds.medium.Image();
    PlanFilter& filter = choice.filter;
    const JournalHeader& header = finds.journal.header;
    const std::string digest = DigestOf(finds.medium.Scanned(), finds.journal.seen, header.caps);
    Outcomes outcomes = OutcomesOf(finds, path, digest, filter);
    EndAtGaps(outcomes, finds.medium);
    const KnownFiles known = choice.fileSystems.isOff || filter.asReported
                                 ? KnownFiles()
                                 : AskedFileSystems(finds.medium, {finds.image, header.caps, digest}, std::nullopt,
                                                    {FilePlace(KnownPathOf(path))})
                                       .Improve(outcomes, finds.journal.seen.starts, /*quiet=*/true);
    if (choice.fileSystems.names == "original") {
        filter.originalPaths = OriginalPaths(known);
    }
    Plan plan = PlanOnImage(std::move(outcomes), finds.medium, filter, header.caps, [](const PassedOver&) {});
    ShownFiles shown;
    if (filter.AsksForDetails()) {
        NoteDetails(medium, finds.image, plan, filter, nullptr);
        plan.passedOver.clear();
        KeepByDetails(plan, filter);
        for (const PassedOver& passed : plan.passedOver) {
            ++shown.leftOut[ReasonText(passed.reason)];
        }
    }
    KeepByContent(medium, plan, choice.content, shown);
    DetailsOfFiles details(medium, finds.image, plan.files, filter, nullptr);
    for (std::size_t i = 0; i < plan.files.size(); ++i) {
        PlannedFile planned = plan.files[i];
        if (!filter.AsksForDetails()) {
            planned.details = details.Of(i);
        }
        const Json record = FileRecord(planned, {}, medium.SectorSize(), known.At(planned.known));
        if (const std::optional<ReportedFile> file = FileOfRecord(record)) {
            take(*file, record);
        }
    }
    shown.image = finds.image;
    shown.image.map = {};
    shown.isWhole = finds.IsWhole();
    shown.summary.image = finds.image.path;
    shown.summary.imageSize = medium.SizeInBytes();
    shown.summary.sectorSize = medium.SectorSize();
    shown.summary.unreadable = medium.Unreadable().Ranges();
    return shown;
}

// The report has the SHA-256; for other digests the written file is read.
FileHashes HashesOf(const Folder& folder, const ReportedFile& file, const HashKinds& kinds) {
    FileHashes hashes;
    if (kinds.md5 || kinds.sha1) {
        const fs::path path(file.path);
        const Folder parent = folder.Below(path.parent_path(), /*make=*/false);
        File there = parent.IsOpen() ? parent.Read(path.filename().string()) : File(parent.Error());
        FileDigest digest(kinds);
        std::vector<char> piece(std::size_t{1} << 18U);
        for (std::size_t length = piece.size(); there.IsOpen() && length == piece.size();) {
            length = there.Read(piece.data(), piece.size());
            digest.Add(piece.data(), length);
        }
        hashes = digest.Hashes();
    }
    hashes.sha256 = file.sha256;
    return hashes;
}

ShownFiles ShowWritten(const ShownOptions& options, const ShownChoice& choice, const TakeFile& take) {
    const Folder folder = OpenReportFolder(options.path);
    ReportReader reader(folder);
    ContentJudge judge(choice.content);
    ShownFiles shown;
    for (ReportedFile file; reader.Next(file);) {
        if (RefusalOf({file.verdict, file.size, file.types.front()}, choice.filter)) {
            continue;
        }
        const auto refusal = RefusalOf(file.details, choice.filter);
        const char* reason = refusal ? ReasonText(*refusal) : nullptr;
        if (reason == nullptr && !choice.content.IsEmpty()) {
            reason = judge.ReasonAgainst(HashesOf(folder, file, judge.Kinds()));
        }
        if (reason == nullptr) {
            take(file, reader.Record());
        } else {
            ++shown.leftOut[reason];
        }
    }
    shown.summary = reader.Summary();
    if (options.image.empty()) {
        shown.image = {shown.summary.image, shown.summary.imageFormat};
    } else {
        shown.image.path = options.image;
        // Another image may have what could not be read then.
        shown.summary.unreadable = {};
    }
    shown.isWhole = SayIfDamaged(reader, folder);
    return shown;
}

}  // namespace

ShownFiles ForEachShownFile(const ShownOptions& options, const TakeFile& take) {
    const ShownChoice choice{MakeFilter(options.filter), MakeContentFilter(options.filter), options.fileSystems};
    std::error_code error;
    if (fs::is_regular_file(options.path, error)) {
        return ShowPlanned(options.path, options.image, choice, take);
    }
    const fs::path finds = fs::path(options.path) / "finds.jsonl";
    if (!fs::exists(fs::path(options.path) / ReportName, error) && fs::is_regular_file(finds, error)) {
        return ShowPlanned(finds.string(), options.image, choice, take);
    }
    return ShowWritten(options, choice, take);
}

}  // namespace salvor
