#include "host/details/find_details.h"

#include <FileTypeCatalog.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "host/details/details_worker.h"
#include "host/platform/same_disk.h"
#include "host/platform/stop_request.h"
#include "host/say/failure.h"
#include "host/say/say.h"
#include "host/workers/crew.h"

namespace salvor {

namespace {

using std::chrono::steady_clock;

// Types whose header gives their pixels, or that the picture library reads and browsers show.
constexpr std::array ShownTypes{FileTypeIndex::JpegCamera, FileTypeIndex::JpegGraphics, FileTypeIndex::Png,
                                FileTypeIndex::Gif,        FileTypeIndex::Bmp,          FileTypeIndex::Webp,
                                FileTypeIndex::Ico,        FileTypeIndex::Cur,          FileTypeIndex::Pcx,
                                FileTypeIndex::Xcf,        FileTypeIndex::Psp,          FileTypeIndex::X3f};
// Types that it reads and browsers do not show.
constexpr std::array PreviewTypes{FileTypeIndex::Crw, FileTypeIndex::Cr2, FileTypeIndex::Cr3, FileTypeIndex::Dcr,
                                  FileTypeIndex::Mrw, FileTypeIndex::Nef, FileTypeIndex::Orf, FileTypeIndex::Pef,
                                  FileTypeIndex::Raf, FileTypeIndex::Srf, FileTypeIndex::Arw, FileTypeIndex::Dng,
                                  FileTypeIndex::Psd, FileTypeIndex::Tiff};

constexpr std::array FilmTypes{FileTypeIndex::Mp4, FileTypeIndex::Mov, FileTypeIndex::M4v, FileTypeIndex::ThreeGp,
                               FileTypeIndex::M4a, FileTypeIndex::Asf, FileTypeIndex::Wma, FileTypeIndex::Wmv,
                               FileTypeIndex::Mp3, FileTypeIndex::Wav, FileTypeIndex::Avi, FileTypeIndex::Vob,
                               FileTypeIndex::Swf, FileTypeIndex::Aif, FileTypeIndex::Ogg, FileTypeIndex::Au,
                               FileTypeIndex::Flv, FileTypeIndex::Mts, FileTypeIndex::Mkv, FileTypeIndex::Webm,
                               FileTypeIndex::Rm};
constexpr std::array DocumentTypes{FileTypeIndex::Doc,  FileTypeIndex::Xls, FileTypeIndex::Ppt,  FileTypeIndex::Vsd,
                                   FileTypeIndex::Mpp,  FileTypeIndex::Pub, FileTypeIndex::Docx, FileTypeIndex::Xlsx,
                                   FileTypeIndex::Pptx, FileTypeIndex::Odt, FileTypeIndex::Ods,  FileTypeIndex::Odp,
                                   FileTypeIndex::Odg,  FileTypeIndex::Odb, FileTypeIndex::Odf,  FileTypeIndex::Max,
                                   FileTypeIndex::Html};

// Formats without a type of their own.
constexpr std::array<std::string_view, 4> DocumentExtensions{"epub", "svg", "eps", "ps"};

template <class Types>
bool IsOneOf(const Types& types, std::int32_t type) {
    return std::ranges::find(types, type) != types.end();
}

std::optional<DetailsReader> ReaderOf(const Finding& finding) {
    if (IsOneOf(ShownTypes, finding.type) || IsOneOf(PreviewTypes, finding.type)) {
        return DetailsReader::Picture;
    }
    if (IsOneOf(FilmTypes, finding.type)) {
        return DetailsReader::Film;
    }
    if (IsOneOf(DocumentTypes, finding.type) ||
        std::ranges::find(DocumentExtensions, ExtensionOf(finding)) != DocumentExtensions.end()) {
        return DetailsReader::Document;
    }
    // Drawings of type AI are PDF inside, but for very old ones.
    return finding.type == FileTypeIndex::Pdf || finding.type == FileTypeIndex::Ai ? std::optional(DetailsReader::Pdf)
                                                                                   : std::nullopt;
}

class DetailsClient : public CrewClient {
public:
    // Asks about `found.size()` files from `from` on.
    DetailsClient(MediumAccess access, const PlannedFiles& files, std::size_t from, std::vector<FileDetails>& found,
                  Previews& previews, const std::atomic<bool>& isLeft)
        : access_(std::move(access)), files_(files), from_(from), found_(found), previews_(previews), isLeft_(isLeft) {
        // Loading libraries takes as long as reading hundreds of files.
        constexpr std::size_t mostInOrder = 1024;
        // Each reader has its own orders, so that a worker loads only the library that it needs.
        std::map<DetailsReader, std::vector<DetailsQuestion>> byReader;
        for (std::size_t i = from; i < from + found.size(); ++i) {
            const std::optional<DetailsReader> reader = ReaderOf(files.FindingOf(i));
            if (!reader) {
                continue;
            }
            end_ += MostTimePerFile;
            const PlannedFile file = files[i];
            const bool withPreview = previews.AreKept() && IsOneOf(PreviewTypes, file.finding.type);
            std::vector<DetailsQuestion>& questions = byReader[*reader];
            questions.push_back({static_cast<std::int32_t>(i), *reader, withPreview, file.extents});
            if (questions.size() == mostInOrder) {
                waiting_.push_back(std::exchange(questions, {}));
            }
        }
        for (auto& [reader, questions] : byReader) {
            if (!questions.empty()) {
                waiting_.push_back(std::move(questions));
            }
        }
    }

    bool HasQuestions() const { return !waiting_.empty(); }

    std::optional<Order> NextOrder() override {
        if (waiting_.empty()) {
            return std::nullopt;
        }
        Order order;
        order.id = nextId_++;
        order.kind = DetailsOrderKind;
        order.what = QuestionsToJson(waiting_.front());
        order.medium = access_;
        // What libraries loaded for the order read of their files is not counted, but is in memory too. A PDF is read
        // as a whole, so large ones have no details.
        order.memory = Order::DefaultMemory - (std::int64_t{32} << 20);
        asked_[order.id].questions = std::move(waiting_.front());
        waiting_.pop_front();
        return order;
    }

    void OnLine(std::int64_t id, const std::string& line) override {
        const std::optional<DetailsAnswer> answer = AnswerIn(line);
        auto& [questions, lastAnswered] = asked_[id];
        const auto question =
            std::ranges::lower_bound(questions, answer ? answer->file : std::int32_t{-1}, {}, &DetailsQuestion::file);
        if (!answer || question == questions.end() || question->file != answer->file) {
            return;
        }
        lastAnswered = answer->file;
        const auto index = static_cast<std::size_t>(answer->file);
        FileDetails& details = found_[index - from_];
        details = answer->details.known;
        if (question->withPreview && !answer->details.preview.empty()) {
            details.preview = previews_.Keep(files_[index], details, answer->details.preview);
        }
    }

    void OnEnd(std::int64_t id, const WorkerEnd& end) override {
        const auto node = asked_.extract(id);
        if (!IsFault(end.ending) || node.empty()) {
            return;
        }
        // Answers may have been lost with the worker. All questions but the one that it failed on are asked again.
        auto& [questions, lastAnswered] = node.mapped();
        const std::size_t failed = std::erase_if(
            questions, [&end](const DetailsQuestion& question) { return question.file == end.at.subject; });
        std::erase_if(questions,
                      [answered = lastAnswered](const DetailsQuestion& question) { return question.file <= answered; });
        if (failed > 0 && !questions.empty()) {
            waiting_.push_back(std::move(questions));
        }
    }

    bool StopRequested() override { return salvor::StopRequested() || isLeft_ || IsLate(); }

    /// The files have used up their time.
    bool IsLate() const { return steady_clock::now() > end_; }

private:
    struct Asked {
        std::vector<DetailsQuestion> questions;
        std::int32_t lastAnswered = -1;
    };

    // Files take a few milliseconds each. Only a medium full of bombs takes longer than this.
    static constexpr std::chrono::milliseconds MostTimePerFile{100};

    MediumAccess access_;
    const PlannedFiles& files_;
    std::size_t from_;
    std::vector<FileDetails>& found_;
    Previews& previews_;
    std::deque<std::vector<DetailsQuestion>> waiting_;
    // Questions are ordered by file.
    std::map<std::int64_t, Asked> asked_;
    std::int64_t nextId_ = 0;
    // True if nobody waits for the answers any more.
    const std::atomic<bool>& isLeft_;
    steady_clock::time_point end_ = steady_clock::now() + std::chrono::minutes(2);
};

}  // namespace

const FileDetails& DetailsOfFiles::Of(std::size_t index) {
    while (index >= now_.End()) {
        if (!next_.valid()) {
            Begin(0);
        }
        now_ = next_.get();
        if (now_.End() < files_.size()) {
            Begin(now_.End());
        }
    }
    return now_.found[index - now_.from];
}

void DetailsOfFiles::Begin(std::size_t from) {
    const auto when = LieOnRotatingDisk(medium_.Files()) ? std::launch::deferred : std::launch::async;
    next_ = std::async(when, [this, from] { return Find(from); });
}

DetailsOfFiles::Batch DetailsOfFiles::Find(std::size_t from) {
    constexpr std::size_t atOnce = 8192;
    Batch batch{from, std::vector<FileDetails>(std::min(atOnce, files_.size() - from))};
    DetailsClient client(AccessTo(medium_, image_), files_, from, batch.found, previews_, isLeft_);
    if (hasGivenUp_ || !client.HasQuestions()) {
        return batch;
    }
    try {
        // More workers would make a disk seek.
        RunCrew({.workers = static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1U, 4U))}, client);
    } catch (const Failure& failure) {
        hasGivenUp_ = true;
        Say("nothing is found out about dates, sizes and titles of files: {}", failure.what());
    }
    if (client.IsLate()) {
        hasGivenUp_ = true;
        Say("reading dates, sizes and titles took too long; the other files get none");
    }
    return batch;
}

void NoteDetails(Medium& medium, const ImageSpec& image, Plan& plan, const PlanFilter& filter, const Folder* folder) {
    std::vector<std::pair<std::size_t, FileDetails>> found;
    DetailsOfFiles details(medium, image, plan.files, filter, folder);
    for (std::size_t i = 0; i < plan.files.size(); ++i) {
        if (const FileDetails& one = details.Of(i); one != FileDetails()) {
            found.emplace_back(i, one);
        }
    }
    for (auto& [index, one] : found) {
        plan.files.SetDetails(index, std::move(one));
    }
}

}  // namespace salvor
