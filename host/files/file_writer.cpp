#include "host/files/file_writer.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <utility>

#include "host/records/digest.h"

namespace salvor {

namespace {

// Below this size, copying in the kernel is no faster, and the disk does better with many files at once.
constexpr std::size_t LeastLargePiece = 1U << 18U;
constexpr const char* ImageStandsThere = "the image itself stands there";

std::string NameOf(const PlannedFile& file) { return std::filesystem::path(file.path).filename().string(); }

}  // namespace

const Folder& FileFolders::Of(const PlannedFile& file) {
    // Each open folder takes a descriptor in every writer.
    constexpr std::size_t most = 64;
    const std::filesystem::path path = std::filesystem::path(file.path).parent_path();
    const auto known = folders_.find(path.native());
    if (known != folders_.end() && known->second.IsOpen()) {
        return known->second;
    }
    if (folders_.size() == most) {
        folders_.clear();
    }
    return folders_.insert_or_assign(path.native(), root_.Below(path, /*make=*/true)).first->second;
}

std::string FileFolders::PartialNameOf(const PlannedFile& file) const { return NameOf(file) + partialSuffix_; }

void FileFolders::KeepDraft(const PlannedFile& file, WriteResult& result) {
    const Folder& folder = Of(file);
    const SystemError error = folder.IsOpen() ? folder.Rename(PartialNameOf(file), NameOf(file)) : folder.Error();
    result.outcome = error ? WriteOutcome::Failed : WriteOutcome::Written;
    if (error) {
        result.Fail(error);
        RemoveDraft(file);
    }
}

void FileFolders::RemoveDraft(const PlannedFile& file) {
    if (const Folder& folder = Of(file); folder.IsOpen()) {
        folder.Remove(PartialNameOf(file));
    }
}

FileWriter::FileWriter(Medium& medium, const Folder& folder, std::string partialSuffix,
                       std::function<bool(std::int64_t)> progress, const HashList* known, WritingLog* log)
    : medium_(medium),
      folders_(folder, std::move(partialSuffix)),
      progress_(std::move(progress)),
      pieces_(medium, progress_),
      known_(known),
      log_(log),
      there_(pieces_.MostBytes()) {
    if (const auto source = medium.CopySource()) {
        image_ = IdentityOf(*source);
    }
}

WriteResult FileWriter::Write(const PlannedFile& file) {
    WriteResult result = WriteDraft(file);
    if (result.outcome == WriteOutcome::Draft) {
        folders_.KeepDraft(file, result);
    }
    return result;
}

WriteResult FileWriter::WriteDraft(const PlannedFile& file) {
    const std::string name = NameOf(file);
    const Folder& parent = folders_.Of(file);
    WriteResult result;
    if (!parent.IsOpen()) {
        result.Fail(parent.Error());
        return result;
    }
    const std::optional<FileEntry> there = parent.Entry(name);
    if (IsImage(there)) {
        result.error = ImageStandsThere;
        return result;
    }
    const bool isRight = there && there->size == file.Size() && HoldsPlannedBytes(parent, name, file, result);
    if (!isRight && result.outcome != WriteOutcome::Stopped) {
        Copy(parent, file, result);
    }
    result.unreadableBytes = UnreadableBytes(file);
    return result;
}

bool FileWriter::IsImage(const std::optional<FileEntry>& there) const {
    return there && image_ && there->identity == *image_;
}

FileDigest FileWriter::NewDigest() const {
    HashKinds kinds = known_ == nullptr ? HashKinds() : known_->Kinds();
    // The report always has it.
    kinds.sha256 = true;
    return FileDigest(kinds);
}

std::int64_t FileWriter::UnreadableBytes(const PlannedFile& file) const {
    std::vector<ByteRange> pieces;
    for (const Extent& extent : file.extents) {
        if (!extent.IsHole()) {
            pieces.push_back({extent.startSector * medium_.SectorSize(), extent.bytes});
        }
    }
    std::int64_t bytes = 0;
    for (const ByteRange& range : medium_.UnreadableIn(pieces)) {
        bytes += range.count;
    }
    return bytes;
}

bool FileWriter::HoldsPlannedBytes(const Folder& folder, const std::string& name, const PlannedFile& file,
                                   WriteResult& result) {
    File there = folder.Read(name);
    if (!there.IsOpen()) {
        return false;
    }
    FileDigest digest = NewDigest();
    const auto isSame = [&](const std::uint8_t* bytes, std::size_t length, std::int64_t /*offset*/) {
        digest.Add(bytes, length);
        return there.Read(there_.data(), length) == length && std::memcmp(there_.data(), bytes, length) == 0;
    };
    const auto mark = MarkOf(file);
    const FilePieces::End end =
        mark && mark->bytes == file.Size() ? CompareWithMark(there, *mark, digest) : pieces_.ForEach(file, isSame);
    if (end == FilePieces::End::Done) {
        const FileHashes hashes = digest.Hashes();
        result.sha256 = hashes.sha256;
        result.outcome = IsKnown(hashes) ? WriteOutcome::Known : WriteOutcome::AlreadyThere;
    } else if (end == FilePieces::End::Stopped) {
        result.outcome = WriteOutcome::Stopped;
    }
    return end == FilePieces::End::Done;
}

void FileWriter::Copy(const Folder& folder, const PlannedFile& file, WriteResult& result) {
    std::optional<Draft> draft = GoOn(folder, file, result);
    if (!draft && result.outcome != WriteOutcome::Stopped) {
        draft = Begin(folder, file, result);
    }
    if (!draft) {
        return;
    }
    const FilePieces::End end = Fill(*draft, file);
    if (end == FilePieces::End::Done && draft->file.Close()) {
        const FileHashes hashes = draft->digest.Hashes();
        if (file.Size() > 0 && UnreadableBytes(file) == file.Size()) {
            result.error = "none of its bytes can be read";
        } else {
            result.sha256 = hashes.sha256;
            result.outcome = IsKnown(hashes) ? WriteOutcome::Known : WriteOutcome::Draft;
        }
    } else if (end == FilePieces::End::Stopped) {
        result.outcome = WriteOutcome::Stopped;
    } else {
        result.Fail(draft->file.Error());
    }
    const bool goesOn = result.outcome == WriteOutcome::Stopped && MarkOf(file);
    if (result.outcome != WriteOutcome::Draft && !goesOn) {
        folder.Remove(folders_.PartialNameOf(file));
    }
}

std::optional<FileWriter::Draft> FileWriter::GoOn(const Folder& folder, const PlannedFile& file, WriteResult& result) {
    const auto mark = MarkOf(file);
    if (!mark || !pieces_.MayBegin(file, mark->bytes)) {
        return std::nullopt;
    }
    Draft draft{folder.Update(folders_.PartialNameOf(file)), NewDigest(), mark->bytes};
    if (!draft.file.IsOpen() || IdentityOf(draft.file.Descriptor()) == image_) {
        return std::nullopt;
    }
    const FilePieces::End end = CompareWithMark(draft.file, *mark, draft.digest);
    if (end == FilePieces::End::Stopped) {
        result.outcome = WriteOutcome::Stopped;
    }
    return end == FilePieces::End::Done && draft.file.CutTo(mark->bytes) ? std::optional(std::move(draft))
                                                                         : std::nullopt;
}

std::optional<FileWriter::Draft> FileWriter::Begin(const Folder& folder, const PlannedFile& file,
                                                   WriteResult& result) const {
    const std::string partial = folders_.PartialNameOf(file);
    File out = folder.CreateNew(partial);
    if (!out.IsOpen() && out.Error().IsTakenName()) {
        if (IsImage(folder.Entry(partial))) {
            result.error = ImageStandsThere;
            return std::nullopt;
        }
        out = folder.Create(partial);
    }
    if (!out.IsOpen()) {
        result.Fail(out.Error());
        return std::nullopt;
    }
    return Draft{std::move(out), NewDigest()};
}

FilePieces::End FileWriter::Fill(Draft& draft, const PlannedFile& file) {
    using std::chrono::steady_clock;
    auto lastMark = steady_clock::now();
    const auto takePiece = [&](const std::uint8_t* bytes, std::size_t length, std::int64_t offset) {
        draft.digest.Add(bytes, length);
        draft.bytes += static_cast<std::int64_t>(length);
        if (length < LeastLargePiece) {
            return draft.file.Write(bytes, length);
        }
        bool isWritten = false;
        // The kernel reads the medium by itself and would fail on sectors that the piece has as zeros.
        const auto source = medium_.CopySource();
        if (source && kernelCopies_ && offset >= 0 && UnreadableBytes(file) == 0) {
            isWritten = kernelCopies_ = draft.file.CopyFrom(*source, offset, length);
        }
        isWritten = isWritten || draft.file.Write(bytes, length);
        draft.file.BeginToStore();
        if (isWritten && log_ != nullptr && steady_clock::now() - lastMark >= log_->MarkInterval()) {
            Mark(draft, file);
            lastMark = steady_clock::now();
        }
        return isWritten;
    };
    const FilePieces::End end = pieces_.ForEach(file, takePiece, draft.bytes);
    // If the run ends before the report lists the file, the next run need not read it again.
    if (end == FilePieces::End::Done && MarkOf(file)) {
        Mark(draft, file);
    }
    return end;
}

std::optional<WritingMark> FileWriter::MarkOf(const PlannedFile& file) const {
    return log_ != nullptr ? log_->Find(file) : std::nullopt;
}

void FileWriter::Mark(Draft& draft, const PlannedFile& file) {
    if (!draft.file.Sync()) {
        return;
    }
    WritingMark mark{draft.bytes, draft.digest.Sha256SoFar(), {}};
    const SectorRangeSet unreadable = medium_.Unreadable();
    for (const Extent& extent : file.extents) {
        const std::int64_t end = extent.startSector + (extent.bytes + medium_.SectorSize() - 1) / medium_.SectorSize();
        SectorRange range = unreadable.NextFrom(extent.startSector);
        for (; !extent.IsHole() && range.count > 0 && range.first < end;
             range = unreadable.NextFrom(range.first + range.count)) {
            mark.unreadable.push_back(range);
        }
    }
    log_->Add(file, mark);
}

// Reads the existing file up to the mark in place of the medium: it holds the same bytes.
FilePieces::End FileWriter::CompareWithMark(File& there, const WritingMark& mark, FileDigest& digest) {
    for (std::int64_t done = 0; done < mark.bytes;) {
        const std::int64_t length = std::min(mark.bytes - done, std::ssize(there_));
        const auto size = static_cast<std::size_t>(length);
        if (there.Read(there_.data(), size) != size) {
            return FilePieces::End::Refused;
        }
        digest.Add(there_.data(), size);
        done += length;
        if (progress_(done)) {
            return FilePieces::End::Stopped;
        }
    }
    if (digest.Sha256SoFar() != mark.sha256) {
        return FilePieces::End::Refused;
    }
    medium_.NoteUnreadable(mark.unreadable);
    return FilePieces::End::Done;
}

}  // namespace salvor
