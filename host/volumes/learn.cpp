#include "host/volumes/learn.h"

#include <fmt/format.h>

#include <algorithm>
#include <deque>
#include <iterator>
#include <optional>
#include <string_view>
#include <thread>
#include <utility>

#include "host/platform/stop_request.h"
#include "host/say/failure.h"
#include "host/say/progress.h"
#include "host/say/say.h"
#include "host/say/size_text.h"
#include "host/validate/outcomes_file.h"
#include "host/validate/validate_run.h"
#include "host/volumes/free_space.h"
#include "host/volumes/joined_worker.h"
#include "host/volumes/pointer_blocks.h"
#include "host/volumes/prefer_known.h"
#include "host/volumes/volume_grids.h"
#include "host/volumes/volumes_worker.h"
#include "host/workers/crew.h"

namespace salvor {

namespace {

// How many bytes of a file system's own structures may be read. Inodes take a 64th of a medium; the entries of lost
// folders on a FAT may be anywhere.
std::int64_t AllowanceFor(const Medium& medium) {
    constexpr std::int64_t least = std::int64_t{1} << 30;
    return least + medium.SizeInBytes() / 16;
}

// The most ranges of used sectors, or of slack.
constexpr std::size_t MostRanges = 2 * MostPieces;

class VolumesClient : public CrewClient {
public:
    VolumesClient(Medium& medium, Order order, const std::atomic<bool>* isLeft)
        : medium_(medium), order_(std::move(order)), isLeft_(isLeft) {}

    std::optional<Order> NextOrder() override { return std::exchange(order_, std::nullopt); }
    void OnLine(std::int64_t /*id*/, const std::string& line) override {
        // A hostile file system lists files without end.
        constexpr std::size_t mostFiles = std::size_t{4} << 20U;
        if (knowledge.files.size() < mostFiles && knowledge.used.size() < MostRanges &&
            knowledge.slack.size() < MostRanges) {
            AddLine(line, medium_, knowledge);
        }
    }
    void OnEnd(std::int64_t /*id*/, const WorkerEnd& end) override {
        if (end.ending != Ending::Done && end.ending != Ending::Stopped) {
            Say("the file systems could not be read to their end, as the process that reads them {}; what it found "
                "before that is used",
                end.text);
        }
    }
    bool StopRequested() override { return salvor::StopRequested() || (isLeft_ != nullptr && *isLeft_); }

    Knowledge knowledge;

private:
    Medium& medium_;
    std::optional<Order> order_;
    const std::atomic<bool>* isLeft_;
};

// Lets workers validate the joined extents of known files.
class JoinedClient : public CrewClient {
public:
    JoinedClient(const ScanMedium& scanned, const KnownRequest& request, const KnownFiles& files,
                 std::vector<JoinedQuestion> questions, KnowledgeWriter* writer, JoinedFindings& findings, bool quiet)
        : medium_(scanned.Scanned()),
          request_(request),
          files_(files),
          access_(AccessTo(scanned.Scanned(), request.image, scanned.Joins())),
          writer_(writer),
          findings_(findings),
          progress_("comparing", SizeOf(questions), quiet) {
        const std::size_t inOrder = CountInOrder(questions.size());
        for (JoinedQuestion& question : questions) {
            if (waiting_.empty() || waiting_.back().size() == inOrder) {
                waiting_.emplace_back();
            }
            waiting_.back().push_back(std::move(question));
        }
    }

    std::optional<Order> NextOrder() override {
        if (waiting_.empty()) {
            return std::nullopt;
        }
        Order order;
        order.id = nextId_++;
        order.kind = JoinedOrderKind;
        order.what = JoinedParameters(waiting_.front(), files_, request_.caps);
        access_.unreadable = medium_.Unreadable().Ranges();
        order.medium = access_;
        asked_[order.id] = std::move(waiting_.front());
        waiting_.pop_front();
        return order;
    }

    void OnLine(std::int64_t id, const std::string& line) override {
        OutcomesRead read;
        try {
            TakeOutcomesLine(line, read);
            if (!read.unreadable.empty()) {
                medium_.NoteUnreadable(read.unreadable);
                return;
            }
            const auto [file, finding] = JoinedIn(read);
            if (QuestionOf(asked_[id], file) != asked_[id].end()) {
                Keep(file, finding);
            }
        } catch (const std::exception&) {
            throw Failure(ExitStatus::Losses, "a validating worker sent a line that makes no sense");
        }
    }

    void OnEnd(std::int64_t id, const WorkerEnd& end) override {
        std::vector<JoinedQuestion> questions = std::move(asked_.extract(id).mapped());
        const auto at = QuestionOf(questions, end.at.subject);
        if (IsFault(end.ending) && at != questions.end()) {
            progress_.Clear();
            Say("validating what the file system knows at sector {}: the process that does it {}; it is left out",
                files_.At(at->file)->StartSector(), end.text);
            Keep(at->file, Finding());
        } else if (IsFault(end.ending) || end.ending == Ending::Failed) {
            throw Failure(ExitStatus::Losses, "validating cannot go on: " + end.text);
        }
        std::erase_if(questions, [this](const JoinedQuestion& one) { return findings_.contains(one.file); });
        if (!questions.empty() && IsFault(end.ending)) {
            waiting_.push_back(std::move(questions));
        }
    }

    void OnTurn() override { progress_.Update(done_, {}); }
    bool StopRequested() override { return salvor::StopRequested(); }

private:
    // Starting a worker takes as long as dozens of small files, and the workers should be done at about the same time.
    static std::size_t CountInOrder(std::size_t questions) {
        constexpr std::size_t least = 64;
        constexpr std::size_t most = 16384;
        constexpr std::size_t orders = 8;
        return std::clamp(questions / orders + 1, least, most);
    }

    std::int64_t SizeOf(const std::vector<JoinedQuestion>& questions) const {
        std::int64_t bytes = 0;
        for (const JoinedQuestion& question : questions) {
            bytes += files_.At(question.file)->size;
        }
        return bytes;
    }

    // Questions are ordered by file.
    static std::vector<JoinedQuestion>::iterator QuestionOf(std::vector<JoinedQuestion>& questions, std::int32_t file) {
        const auto at = std::ranges::lower_bound(questions, file, {}, &JoinedQuestion::file);
        return at != questions.end() && at->file == file ? at : questions.end();
    }

    void Keep(std::int32_t file, const Finding& finding) {
        done_ += files_.At(file)->size;
        if (writer_ != nullptr) {
            writer_->Add(file, finding);
        }
        findings_[file] = finding;
    }

    Medium& medium_;
    const KnownRequest& request_;
    const KnownFiles& files_;
    MediumAccess access_;
    // Null if nothing is stored.
    KnowledgeWriter* writer_;
    JoinedFindings& findings_;
    Progress progress_;
    std::int64_t done_ = 0;
    std::deque<std::vector<JoinedQuestion>> waiting_;
    std::map<std::int64_t, std::vector<JoinedQuestion>> asked_;
    std::int64_t nextId_ = 0;
};

void TellOutOfReach(const Knowledge& knowledge) {
    for (const OutOfReach& one : knowledge.outOfReach) {
        Say("volume {}: {} cannot be carved, being compressed, encrypted or stored inside the file system's own "
            "records; "
            "copy them from the mounted file system",
            one.volume, Counted(one.files, "living file"));
    }
}

// Names the file systems that are scanned whole because their free space is unknown.
void TellWholeVolumes(const Knowledge& knowledge, SectorRange range) {
    if (knowledge.volumes.empty()) {
        Say("no file system was found that can be read: all is scanned");
    }
    for (const Volume& volume : knowledge.volumes) {
        const bool isAsked = volume.sectors.first < range.first + range.count &&
                             range.first < volume.sectors.first + volume.sectors.count;
        if (isAsked && !volume.isReadable) {
            Say("volume {} ({}) has no file system that can be read: all of it is scanned", volume.number,
                volume.fileSystem.empty() ? "not known" : volume.fileSystem);
        }
    }
}

}  // namespace

Knowledge LearnVolumes(Medium& medium, const ImageSpec& image, LearnRequest request) {
    Order order;
    order.kind = VolumesOrderKind;
    order.what = {{"used", request.used}, {"files", request.files}, {"allowance", AllowanceFor(medium)}};
    order.medium = AccessTo(medium, image);
    // File systems with millions of files have large tables of names, but not on small media.
    constexpr std::int64_t most = std::int64_t{1} << 30;
    order.memory = std::clamp(medium.SizeInBytes() / 64, Order::DefaultMemory, most);
    VolumesClient client(medium, std::move(order), request.isLeft);
    RunCrew({}, client);
    return std::move(client.knowledge);
}

FileSystemsAhead::FileSystemsAhead(Medium& medium, const ImageSpec& image)
    : learning_(std::async(std::launch::async, [this, &medium, image] {
          return LearnVolumes(medium, image, {true, true, &isLeft_});
      })) {}

std::string KnownPathOf(const std::string& findsPath) { return PathBeside(findsPath, "known"); }

std::shared_ptr<const Space> LearnSpace(Medium& medium, const ImageSpec& image, SpaceKind kind, SectorRange range) {
    const Knowledge knowledge = LearnVolumes(medium, image, {true, kind == SpaceKind::FreeAndSlack});
    if (StopRequested()) {
        throw Failure(ExitStatus::Stopped, "stopped before anything was scanned");
    }
    TellWholeVolumes(knowledge, range);
    std::shared_ptr<const Space> space = SpaceOf(knowledge, kind, range, medium);
    const auto fail = [&image](std::string_view why) {
        return Failure(ExitStatus::NotStarted, fmt::format("cannot scan the free space of '{}': {}; scan it with "
                                                           "--space all",
                                                           image.path, why));
    };
    if (space->PieceCount() == 0) {
        throw fail("its file systems use all of it");
    }
    if (space->PieceCount() >= MostPieces || knowledge.used.size() >= MostRanges) {
        throw fail(fmt::format("it lies in more than {} pieces", MostPieces));
    }
    return space;
}

AskedFileSystems::AskedFileSystems(const ScanMedium& scanned, KnownRequest request, std::optional<FilePlace> place,
                                   const std::vector<FilePlace>& earlier)
    : scanned_(scanned), request_(std::move(request)), place_(std::move(place)) {
    Medium& image = scanned.Image();
    std::optional<KeptKnowledge> kept = place_ ? ReadKnowledge(*place_, request_.digest, image) : std::nullopt;
    isFromPlace_ = kept.has_value();
    for (auto one = earlier.begin(); one != earlier.end() && !kept; ++one) {
        kept = ReadKnowledge(*one, request_.digest, image);
    }
    if (kept) {
        kept_ = *std::move(kept);
    } else {
        kept_.knowledge =
            request_.ahead != nullptr ? request_.ahead->Take() : LearnVolumes(image, request_.image, {true, true});
        TellOutOfReach(kept_.knowledge);
    }
    if (place_ && !isFromPlace_ && !StopRequested()) {
        writer_ = std::make_unique<KnowledgeWriter>(*place_, request_.digest);
        storing_ = std::async(std::launch::async, [this] { writer_->Add(kept_); });
    }
}

std::vector<GridStretch> AskedFileSystems::Grids() const { return GridsOf(kept_.knowledge.volumes, scanned_); }

KnownFiles AskedFileSystems::Improve(Outcomes& outcomes, const std::vector<std::int64_t>& starts, bool quiet) {
    if (storing_.valid()) {
        storing_.get();
    }
    if (StopRequested()) {
        return {};
    }
    Medium& medium = scanned_.Scanned();
    Knowledge& knowledge = kept_.knowledge;
    std::ranges::move(FollowPointerBlocks(outcomes, starts, scanned_), std::back_inserter(knowledge.files));
    SectorRangeSet used;
    if (const auto& space = scanned_.Joins()) {
        knowledge.files = FilesInSpace(std::move(knowledge.files), *space);
    } else {
        used = SetOf(knowledge.used);
    }
    KnownFiles files(std::move(knowledge.files), used, medium.SectorSize());
    std::vector<JoinedQuestion> questions = QuestionsAbout(files, outcomes, medium);
    std::erase_if(questions, [&](const JoinedQuestion& one) { return kept_.joined.contains(one.file); });
    if (!questions.empty()) {
        if (isFromPlace_) {
            // Goes on with an interrupted run: what it stored is written first.
            const auto before = ReadKnowledge(*place_, request_.digest, scanned_.Image());
            writer_ = std::make_unique<KnowledgeWriter>(*place_, request_.digest);
            writer_->Add(before.value_or(KeptKnowledge()));
        }
        JoinedClient client(scanned_, request_, files, std::move(questions), writer_.get(), kept_.joined, quiet);
        constexpr unsigned most = 4;
        RunCrew({.workers = static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1U, most))}, client);
        if (writer_) {
            writer_->Sync();
        }
    }
    PreferKnown(files, kept_.joined, medium.SectorSize(), outcomes);
    return files;
}

}  // namespace salvor
