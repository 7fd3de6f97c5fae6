#include "documents/KXMLFileType.h"

#include <utility>

std::int32_t KXMLFileType::Reset() {
    trail_.Reset();
    return WalkingScanner::Reset();
}

void KXMLFileType::ScanBlock(const SectorBlock* block, IFoundFileSink* sink) {
    trail_.EnterBlock(*block);
    WalkingScanner::ScanBlock(block, sink);
}

std::optional<std::int64_t> KXMLFileType::Measure(const Candidate& candidate) {
    candidate_ = &candidate;
    return WalkingScanner::Measure(candidate);
}

std::optional<std::int64_t> KXMLFileType::Walk(FileWindow& file) {
    MarkupReader text(file, MarkupReader::FewDocuments, &memory_);
    std::optional<XmlProlog> prolog = TakeXmlProlog(text);
    if (!prolog || prolog->isHtml) {
        return std::nullopt;
    }
    // Where other documents begin is counted in sectors of the smallest size, from the file's start.
    const bool isOnGrid = SectorEnd(file.SectorSize()) == file.SectorSize();
    if (prolog->root != root_ || !form_.IsLike(text.Form()) || !isOnGrid) {
        trail_.Forget();
        root_ = std::move(prolog->root);
        form_ = text.Form();
    }
    XmlContentWalk walk(text, root_);
    walk.TakeRoot();
    using Stretch = decltype(trail_)::Stretch;
    const auto takePiece = [&](KFileSimulator& /*reader*/, std::int64_t offset) -> std::optional<Stretch> {
        // Pieces end before the first item past a multiple of 64 bytes, so walks that meet take the same pieces.
        constexpr std::int64_t pieceBytes = 64;
        Stretch piece{.to = offset};
        piece.to = walk.TakeItems((offset / pieceBytes + 1) * pieceBytes, piece.facts);
        return piece.to > offset ? std::optional(piece) : std::nullopt;
    };
    trail_.Walk(*candidate_, text.At(), WalkLimit + 1, takePiece,
                [&](const Stretch& known) { return walk.Pass(known.to, known.facts); });
    const XmlExtent content = walk.Finish();
    if (content.isClosed) {
        return EndOfWhite(text, content.end);
    }
    return content.hasChild ? std::optional(content.end) : std::nullopt;
}
