#include "host/app/finds_use.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <utility>

#include "host/app/folder_scan.h"
#include "host/files/joined_plan.h"
#include "host/medium/open_image.h"
#include "host/platform/same_disk.h"
#include "host/platform/stop_request.h"
#include "host/report/page.h"
#include "host/say/say.h"
#include "host/say/size_text.h"
#include "host/validate/outcomes_file.h"
#include "host/validate/validate_run.h"
#include "host/volumes/knowledge_file.h"
#include "host/volumes/original_names.h"

namespace salvor {

namespace {

ImageSpec ImageOf(const JournalHeader& header, const ImageSpec& other) {
    ImageSpec image = other.path.empty() ? header.image : other;
    if (other.format) {
        image.format = other.format;
    }
    // What the scan's rescue map left out is in the finds already.
    image.map = other.map;
    return image;
}

}  // namespace

FindsUse::FindsUse(const std::string& path, const ImageSpec& other, bool skipBad)
    : journal(ReadJournal(FilePlace(path))),
      image(ImageOf(journal.header, other)),
      medium(OpenMedium(image, journal.header.sectorSize, {skipBad, StopRequested}), {skipBad, StopRequested}),
      path_(path) {
    medium.Join(journal.header.space);
    SayIfResized();
    if (other.path.empty() && other.map.empty()) {
        medium.Scanned().NoteUnreadable(journal.seen.unreadable);
        medium.ShareUnreadable();
    } else {
        // A copy, or a rescue that has gone on, may have sectors that were missing before.
        journal.seen.unreadable = medium.Scanned().Unreadable().Ranges();
    }
    unreadable_ = journal.seen.unreadable;
    if (journal.damagedLines > 0) {
        Say("passed over {} of the finds file '{}'", Counted(journal.damagedLines, "damaged line"), path);
    }
    if (!journal.complete) {
        Say("the scan behind '{}' did not end; its {} finds are used", path, journal.seen.finds.size());
    }
}

bool FindsUse::IsWhole() const {
    return journal.complete && journal.setAside.empty() && journal.damagedLines == 0 &&
           medium.Image().SizeInBytes() >= journal.header.imageSize;
}

Sightings FindsUse::SeeAgain() const {
    Sightings seen = ReadJournal(FilePlace(path_)).seen;
    seen.unreadable = unreadable_;
    return seen;
}

void FindsUse::SayIfResized() const {
    const std::int64_t then = journal.header.imageSize;
    const std::int64_t now = medium.Image().SizeInBytes();
    if (now > then) {
        Say("the image '{}' has grown from {} to {} bytes since the scan; scan again to find what begins in the new "
            "part",
            image.path, then, now);
    } else if (now < then) {
        const auto isThere = [this](const Find& find) {
            return medium.OnImage(find.startSector) < medium.Image().SectorCount();
        };
        Say("the image '{}' has {} bytes, but had {} when it was scanned: {} of {} finds begin in what is there; if "
            "it is another image, name the right one with --image",
            image.path, now, then, std::ranges::count_if(journal.seen.finds, isThere), journal.seen.finds.size());
    }
}

JobIdentity JobOf(const JournalHeader& header) {
    return {header.image.path, header.imageSize, header.sectorSize, header.image.format};
}

void RequireOwnFile(const char* option, const std::string& path, const std::vector<std::string>& imageFiles) {
    if (IsAmong(path, imageFiles)) {
        throw Failure(ExitStatus::Usage, fmt::format("{} names the image itself, which is never written to", option));
    }
    if (std::filesystem::is_block_file(path)) {
        throw Failure(ExitStatus::Usage, fmt::format("{} names a block device; name a file", option));
    }
    RefuseSameDevice(path, imageFiles);
}

Validated ValidateWithFileSystems(const ScanMedium& medium, Sightings seen, const ResultsPlace& outcomes,
                                  ValidateHow how, const std::optional<ResultsPlace>& knowledge,
                                  FileSystemsAhead* ahead) {
    std::optional<AskedFileSystems> fileSystems;
    if (knowledge && !IsKnowledgeFile(knowledge->place)) {
        throw Failure(ExitStatus::Usage,
                      fmt::format("'{}' holds something else than what file systems know; move it away, or pass "
                                  "--no-file-system",
                                  knowledge->place.Text()));
    }
    if (knowledge) {
        const std::string digest = DigestOf(medium.Scanned(), seen, how.caps);
        fileSystems.emplace(medium, KnownRequest{how.image, how.caps, digest, ahead}, knowledge->place,
                            knowledge->earlier);
        how.grids = fileSystems->Grids();
    }
    how.space = medium.Joins();
    const std::vector<std::int64_t> starts = fileSystems ? seen.starts : std::vector<std::int64_t>();
    Validated result{.validation = ValidateWithFile(medium.Scanned(), std::move(seen), outcomes, how), .known = {}};
    EndAtGaps(result.validation.outcomes, medium);
    if (result.validation.complete && fileSystems) {
        result.known = fileSystems->Improve(result.validation.outcomes, starts, how.quiet);
    }
    return result;
}

namespace {

// Keeps everything in the folder of the recovered files. What lies beside the finds is used, but not changed.
Validated ValidateSeen(ExtractRequest& request) {
    const std::optional<Piece>& piece = request.piece;
    const FindsOrigin& origin = request.origin;
    // The user did not name these paths, so links are not followed and pipes not waited for.
    const std::filesystem::path beside = std::filesystem::absolute(OutcomesPathOf(origin.findsPath));
    const Folder folder = Folder::Open(beside.parent_path());
    ResultsPlace outcomes{{request.out.folder, "outcomes.jsonl"}, SharesIn(folder, beside.filename().string())};
    outcomes.earlier.emplace_back(folder, beside.filename().string());
    std::optional<ResultsPlace> knowledge;
    if (!request.fileSystems.isOff) {
        const std::filesystem::path knownBeside = std::filesystem::absolute(KnownPathOf(origin.findsPath));
        // Pieces may be written at the same time, so each has its own file, unless validating has already asked.
        const std::string name = FolderKnownName + (piece ? SuffixOf(*piece) : "");
        knowledge = {FilePlace(request.out.folder, name), {FilePlace(folder, knownBeside.filename().string())}};
    }
    ValidateHow how{.image = origin.image,
                    .workers = WorkersFor("", request.medium.Image()),
                    .quiet = request.quiet,
                    .caps = origin.caps,
                    .seeAgain = request.seeAgain};
    if (piece) {
        how.draftSuffix = SuffixOf(*piece) + how.draftSuffix;
        how.needsShares = true;
    }
    return ValidateWithFileSystems(request.medium, std::move(request.seen), outcomes, std::move(how), knowledge,
                                   request.ahead);
}

Validated AsReported(ExtractRequest& request) {
    // Starts are not needed, and there may be as many.
    const std::vector<Find> finds = std::exchange(request.seen, {}).finds;
    Validated reported{.validation = {ReportedOutcomes(finds, ShapeOf(request.medium), request.filter.types), true, {}},
                       .known = {}};
    EndAtGaps(reported.validation.outcomes, request.medium);
    return reported;
}

// False, and says so, if the page cannot be written or lacks lines of the report. The files are there, and the page can
// be made again.
bool HasPage(const Folder& folder) {
    try {
        return WritePage(folder);
    } catch (const Failure& failure) {
        SayLine(failure.what());
        return false;
    }
}

}  // namespace

ExitStatus ExtractSeen(ExtractRequest request) {
    Validated validated = request.filter.asReported ? AsReported(request) : ValidateSeen(request);
    auto& [validation, known] = validated;
    if (request.fileSystems.names == "original") {
        request.filter.originalPaths = OriginalPaths(known);
    }
    const bool isStopped = !validation.complete || StopRequested();
    if (request.piece && isStopped) {
        return ExitStatus::Stopped;
    }
    const ExtractJob job{request.medium, validation.outcomes, known,       request.origin,
                         request.filter, request.content,     request.out, request.quiet};
    if (request.piece) {
        return ExtractPiece(job, *request.piece);
    }
    const Folder& folder = request.out.folder;
    if (isStopped) {
        Say("stopped before a file was written; 'salvor extract {} --out {}' goes on",
            ShellWord(request.origin.findsPath), ShellWord(folder.Path().string()));
    }
    const ExitStatus status = ExtractFiles(job);
    const bool isLossless = HasPage(folder) && validation.setAside.empty();
    return status == ExitStatus::Done && !isLossless ? ExitStatus::Losses : status;
}

}  // namespace salvor
