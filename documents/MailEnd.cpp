#include "documents/MailEnd.h"

#include <algorithm>

#include "frame/bytes/BytePattern.h"

namespace {

constexpr BytePattern ContentType = BytePatternOf<"\r\nContent-Type:">();
constexpr auto TextKind = PatternOf(" text/");
constexpr auto HtmlEndText = PatternOf("</html>");
constexpr BytePattern HtmlEnd{HtmlEndText};
constexpr BytePattern Boundary = BytePatternOf<"boundary=">();
constexpr BytePattern LineEnd = BytePatternOf<"\r\n">();
constexpr BytePattern QuotedLineEnd = BytePatternOf<"\"\r\n">();
// The boundary's name begins within this many bytes, and so does the end of its value.
constexpr std::size_t Reach = 256;

// Larger than any medium, but small enough to be added to a place.
constexpr std::int64_t Endless = std::int64_t{1} << 60U;
// Searches read this far past a message's last sector, so that the next ones need not read it again.
constexpr std::int64_t Ahead = FileWindow::PieceBytes;

// The first occurrence that begins within `Reach` bytes of `from`.
std::optional<std::size_t> FindInReach(const BytePattern& mark, ByteSpan view, std::size_t from) {
    return mark.FindIn(view.first(std::min(view.size(), from + Reach - 1 + mark.size())), from);
}

// The value of the boundary whose name ends at `offset`; empty if its end is out of reach.
ByteSpan BoundaryValue(ByteSpan view, std::size_t offset) {
    const bool isQuoted = offset < view.size() && view[offset] == '"';
    const std::size_t from = offset + (isQuoted ? 1 : 0);
    const std::optional<std::size_t> end = FindInReach(isQuoted ? QuotedLineEnd : LineEnd, view, from);
    return view.subspan(std::min(from, view.size()), end ? *end - from : 0);
}

// One step of a search: through one piece of the file.
auto StepThrough(const BytePattern& mark, FileWindow& file, std::int64_t base) {
    return [&mark, &file, base](std::int64_t at, std::int64_t /*end*/) -> Gap::Step {
        const ByteSpan bytes = file.From(at - base, mark.size());
        if (bytes.size() < mark.size()) {
            return {at, false};
        }
        if (const std::optional<std::size_t> found = mark.FindIn(bytes)) {
            return {at + static_cast<std::int64_t>(*found), true};
        }
        return {at + static_cast<std::int64_t>(bytes.size() - mark.size()) + 1, false};
    };
}

}  // namespace

void MailEndSearch::EnterBlock(const SectorBlock& block) {
    if (!PlacedMemory::EnterBlock(block)) {
        Forget();
    }
}

void MailEndSearch::Forget() {
    contentGap_.Forget();
    htmlGap_.Forget();
    closingGap_.Forget();
    header_ = {};
    closingIndex_ = {};
}

std::optional<std::int64_t> MailEndSearch::FindEnd(const Candidate& candidate, std::int64_t maxSize) {
    const std::int64_t sectorSize = candidate.block.sectorSize;
    BeginWalk(candidate);
    const std::int64_t base = PlaceOf(0);
    const bool readsAhead = candidate.block.source != nullptr;
    reach_ = std::min(maxSize, Endless);
    // A view is a sector and the one after it.
    std::int64_t views = reach_ / sectorSize + 1;
    if (!readsAhead) {
        views = std::min(views, static_cast<std::int64_t>(candidate.RestOfBlock().size()) / sectorSize - 1);
    }
    FileWindow file(candidate, (views + 1) * sectorSize + (readsAhead ? Ahead : 0), budget, reader);
    const std::int64_t end = base + views * sectorSize;

    const auto content = contentGap_.Find(base, base, end, StepThrough(ContentType, file, base));
    if (!content) {
        return std::nullopt;
    }
    const std::int64_t view = base + (*content - base) / sectorSize * sectorSize;
    if (header_.place != *content) {
        const auto viewSize = static_cast<std::size_t>(2 * sectorSize);
        const ByteSpan bytes = file.From(view - base, viewSize);
        header_ = ReadHeader(bytes.first(std::min(bytes.size(), viewSize)), static_cast<std::size_t>(sectorSize),
                             static_cast<std::size_t>(*content - view));
        header_.place = *content;
    }
    switch (header_.kind) {
        case ContentHeader::Kind::Nothing:
            return std::nullopt;
        case ContentHeader::Kind::EndsInView:
            return view + static_cast<std::int64_t>(header_.end) - base;
        case ContentHeader::Kind::ToMarker:
            break;
    }
    const auto marker = FindMarker(file, base, view + sectorSize, end);
    return marker ? std::optional(*marker + static_cast<std::int64_t>(header_.marker.size()) - base) : std::nullopt;
}

// A marker in the header's own view ends the message before the marker.
MailEndSearch::ContentHeader MailEndSearch::ReadHeader(ByteSpan view, std::size_t sectorSize, std::size_t offset) {
    ContentHeader header;
    const std::size_t value = offset + ContentType.size();
    std::size_t searchFrom = HtmlEnd.size();
    if (HasPatternAt(view, value, TextKind)) {
        header.marker.assign(HtmlEndText.begin(), HtmlEndText.end());
    } else {
        const std::optional<std::size_t> name = FindInReach(Boundary, view, value);
        if (!name) {
            return header;
        }
        const ByteSpan boundary = BoundaryValue(view, *name + Boundary.size());
        if (boundary.empty()) {
            // An empty marker is found at once, at the start of the view.
            header.kind = ContentHeader::Kind::EndsInView;
            return header;
        }
        header.isClosing = true;
        header.marker.assign(2, '-');
        header.marker.insert(header.marker.end(), boundary.begin(), boundary.end());
        header.marker.insert(header.marker.end(), 2, '-');
        searchFrom = static_cast<std::size_t>(boundary.data() - view.data()) + boundary.size();
    }
    const BytePattern marker{header.marker};
    const ByteSpan searched = view.first(std::min(view.size(), sectorSize - 1 + marker.size()));
    const std::optional<std::size_t> found = marker.FindIn(searched, searchFrom);
    header.kind = found ? ContentHeader::Kind::EndsInView : ContentHeader::Kind::ToMarker;
    header.end = found.value_or(0);
    return header;
}

std::optional<std::int64_t> MailEndSearch::FindMarker(FileWindow& file, std::int64_t base, std::int64_t from,
                                                      std::int64_t end) {
    if (!header_.isClosing) {
        return htmlGap_.Find(base, from, end, StepThrough(HtmlEnd, file, base));
    }
    if (closing_ != header_.marker) {
        closing_ = header_.marker;
        closingGap_.Forget();
    }
    if (!closingIndex_.IsPreparedFor(reach_)) {
        closingIndex_.Prepare(reach_);
        closingGap_.Forget();
    }
    return closingGap_.Find(base, from, end, [&](std::int64_t at, std::int64_t last) {
        return closingIndex_.Search(closing_, file, base, at, last);
    });
}
