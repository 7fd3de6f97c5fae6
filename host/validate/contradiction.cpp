#include "host/validate/contradiction.h"

#include <FileTypeCatalog.h>

#include <algorithm>
#include <iterator>

namespace salvor {

namespace {

template <std::size_t Count>
bool IsIn(const std::int32_t (&types)[Count], std::int32_t type) {
    return std::ranges::find(types, type) != std::end(types);
}

// Whole if their header says so, or decoded from any bytes. Samples of sound are as long as a header in front of them
// says.
constexpr std::int32_t Credulous[] = {FileTypeIndex::Bmp, FileTypeIndex::Pcx, FileTypeIndex::Icc, FileTypeIndex::Mb,
                                      FileTypeIndex::Wav, FileTypeIndex::Aif, FileTypeIndex::Au};

// Their structure leads to pixels or samples that are not decoded. They may contain previews and other pictures, but no
// sounds, films or archives.
constexpr std::int32_t Pictures[] = {FileTypeIndex::Psd, FileTypeIndex::Xcf,  FileTypeIndex::Tiff, FileTypeIndex::Dng,
                                     FileTypeIndex::Nef, FileTypeIndex::Pef,  FileTypeIndex::Arw,  FileTypeIndex::Cr2,
                                     FileTypeIndex::Orf, FileTypeIndex::Webp, FileTypeIndex::Ico,  FileTypeIndex::Cur,
                                     FileTypeIndex::Ani};

// The same, but parts of some look like other films or sounds of their kind.
constexpr std::int32_t Films[] = {FileTypeIndex::Mp4, FileTypeIndex::M4a, FileTypeIndex::M4v, FileTypeIndex::Mov,
                                  FileTypeIndex::ThreeGp};

constexpr std::int32_t NeverContained[] = {
    FileTypeIndex::Gif, FileTypeIndex::Wav, FileTypeIndex::Avi,  FileTypeIndex::Aif,      FileTypeIndex::Asf,
    FileTypeIndex::Wma, FileTypeIndex::Wmv, FileTypeIndex::Swf,  FileTypeIndex::Flv,      FileTypeIndex::Mkv,
    FileTypeIndex::Ogg, FileTypeIndex::Rm,  FileTypeIndex::Webm, FileTypeIndex::Webp,     FileTypeIndex::Mid,
    FileTypeIndex::Zip, FileTypeIndex::Rar, FileTypeIndex::Cab,  FileTypeIndex::SevenZip, FileTypeIndex::Docx,
    FileTypeIndex::Odt, FileTypeIndex::Ods, FileTypeIndex::Odp,  FileTypeIndex::Xlsx,     FileTypeIndex::Pptx};

// Not in a picture either.
constexpr std::int32_t Streams[] = {FileTypeIndex::Mp4, FileTypeIndex::M4a,     FileTypeIndex::M4v, FileTypeIndex::Mov,
                                    FileTypeIndex::Mp3, FileTypeIndex::ThreeGp, FileTypeIndex::Mts, FileTypeIndex::Vob};

bool IsSound(std::int32_t type) {
    return type == FileTypeIndex::Wav || type == FileTypeIndex::Aif || type == FileTypeIndex::Au;
}

}  // namespace

bool Contradiction::IsCredulous(std::int32_t type) { return IsIn(Credulous, type); }

bool Contradiction::MayBeFound(std::int32_t outerType) {
    return IsCredulous(outerType) || IsIn(Pictures, outerType) || IsIn(Films, outerType);
}

bool Contradiction::Proves(const Finding& inner, const Finding& outer, bool crosses) {
    const bool isWhole = inner.verdict == Verdict::Whole;
    // Sound in a frame of samples may be MPEG audio itself.
    const bool isOwnFrame = IsSound(outer.type) && inner.type == FileTypeIndex::Mp3;
    const bool isSure = isWhole || (inner.verdict == Verdict::Open && (inner.isUnbroken || inner.isCertain));
    if (IsCredulous(outer.type)) {
        return isWhole || (isSure && !isOwnFrame);
    }
    const bool isPicture = IsIn(Pictures, outer.type);
    const bool isForeign = IsIn(NeverContained, inner.type) || (isPicture && IsIn(Streams, inner.type)) ||
                           (outer.type == FileTypeIndex::Webp && inner.type == FileTypeIndex::Png);
    return (isWhole && crosses) || (isSure && isForeign && (isPicture || IsIn(Films, outer.type)));
}

}  // namespace salvor
