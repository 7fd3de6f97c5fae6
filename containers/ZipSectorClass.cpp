#include "containers/ZipSectorClass.h"

#include <algorithm>
#include <string_view>

#include "containers/ZipFormat.h"
#include "frame/bytes/BytePattern.h"
#include "frame/bytes/CompareBytesNoCase.h"
#include "frame/bytes/PlaceSearch.h"

namespace {

// The signature, this disk's number and the number of the disk where the central directory starts.
constexpr auto EndBytes = PatternOf("PK\x05\x06\0\0\0\0");
constexpr BytePattern EndMark{EndBytes};

// Makes letters lower case and may change other bytes.
constexpr std::uint8_t Fold(std::uint8_t byte) { return byte | 0x20U; }

// 0 if two neighbouring bytes may belong to the footer or to a deciding name: "PK" of the footer; a slash after d, f, n
// or t, which have these bits in common and come before the first slash of most names; "xl" of the other names. All
// three are rare in noise, prose and markup.
constexpr std::uint8_t Difference(std::uint8_t first, std::uint8_t second) {
    constexpr std::uint8_t commonBits = 0xC5;
    const auto mark = static_cast<std::uint8_t>((first ^ 'P') | (second ^ 'K'));
    const auto slash = static_cast<std::uint8_t>(((first & commonBits) ^ ('d' & commonBits)) | (second ^ '/'));
    const auto letters = static_cast<std::uint8_t>((Fold(first) ^ 'x') | (Fold(second) ^ 'l'));
    return std::min(mark, std::min(slash, letters));
}

struct DecidingName {
    constexpr DecidingName(std::string_view name, std::int32_t decidedKind) : text(name), kind(decidedKind) {
        while (Difference(ByteAt(anchor), ByteAt(anchor + 1)) != 0) {
            ++anchor;
        }
        anchorLetter = Fold(ByteAt(anchor));
    }
    constexpr std::uint8_t ByteAt(std::size_t at) const { return static_cast<std::uint8_t>(text.at(at)); }

    std::string_view text;
    // Offset of the first place in the text that passes the filter, so that occurrences are met in the order in which
    // they begin.
    std::size_t anchor = 0;
    std::int32_t kind;
    std::uint8_t anchorLetter = 0;
};

// OpenDocument types are in the stored first member, where the content directly follows the name. If two names have the
// same anchor in the data, the one that begins first is listed first.
constexpr DecidingName DecidingNames[] = {
    {"mimetypeapplication/vnd.oasis.opendocument.text", ZipKind::Text},
    {"mimetypeapplication/vnd.oasis.opendocument.spreadsheet", ZipKind::Sheet},
    {"mimetypeapplication/vnd.oasis.opendocument.presentation", ZipKind::Presentation},
    {"mimetypeapplication/vnd.sun.xml.base", ZipKind::DataBase},
    {"mimetypeapplication/vnd.oasis.opendocument.graphics", ZipKind::Drawing},
    {"application/vnd.oasis.opendocument.formula", ZipKind::Formula},
    {"application/x-vnd.oasis.opendocument.formula", ZipKind::Formula},
    {"META-INF/MANIFEST.MF", ZipKind::Jar},
    {"ppt/slides/", ZipKind::PowerPoint},
    {"ppt/slideLayouts/", ZipKind::PowerPoint},
    {"ppt/slideMasters/", ZipKind::PowerPoint},
    {"ppt/media/", ZipKind::PowerPoint},
    {"ppt/presProps.xml", ZipKind::PowerPoint},
    {"PxlPkg.plist", ZipKind::PocketExcel},
    {"word/_rels/document.xml.rels", ZipKind::Word},
    {"word/document.xml", ZipKind::Word},
    {"word/footnotes.xml", ZipKind::Word},
    {"word/endnotes.xml", ZipKind::Word},
    {"word/settings.xml", ZipKind::Word},
    {"word/styles.xml", ZipKind::Word},
    {"xl/_rels/workbook.xml", ZipKind::Excel},
    {"xl/workbook.xml", ZipKind::Excel},
    {"xl/worksheets/", ZipKind::Excel},
};

// The kind decided by the name whose anchor lies at `place`; `ZipKind::Plain` if there is none.
std::int32_t KindNamedAround(ByteSpan sector, std::size_t place) {
    const std::uint8_t letter = Fold(sector[place]);
    for (const DecidingName& name : DecidingNames) {
        if (name.anchorLetter != letter || name.anchor > place) {
            continue;
        }
        const std::size_t start = place - name.anchor;
        if (name.text.size() < sector.size() - start &&
            CompareBytesNoCase(sector.data() + start, name.text.data(), name.text.size()) == 0) {
            return name.kind;
        }
    }
    return ZipKind::Plain;
}

}  // namespace

std::optional<std::size_t> ClassifyZipSector(ByteSpan sector, std::int32_t& kind) {
    if (sector.empty()) {
        return std::nullopt;
    }
    // Footers and names must end before the last byte.
    const ByteSpan searched = sector.first(sector.size() - 1);
    std::optional<std::size_t> mark;
    if (kind != ZipKind::Plain) {
        mark = EndMark.FindIn(searched);
    } else {
        FindPlace(
            sector.data(), 0, searched.size(), [](const std::uint8_t* place) { return Difference(place[0], place[1]); },
            [&](std::size_t place) {
                if (HasPatternAt(searched, place, EndBytes)) {
                    mark = place;
                    return true;
                }
                kind = KindNamedAround(sector, place);
                return kind != ZipKind::Plain;
            });
    }
    return mark ? std::optional(*mark + ZipEndRecord::Bytes) : std::nullopt;
}
