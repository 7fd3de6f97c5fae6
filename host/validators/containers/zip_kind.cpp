#include "host/validators/containers/zip_kind.h"

#include <algorithm>
#include <iterator>

#include "frame/contract/FileTypeCatalog.h"

namespace salvor {

namespace {

using namespace FileTypeIndex;

struct TextKind {
    std::string_view text;
    PackageKind kind;
};

// The contents of a first member "mimetype". If one text begins with another, the longer one comes first. A page that
// an office program opened and saved as a document is "text-web".
constexpr TextKind MimeTypes[] = {
    {"application/vnd.oasis.opendocument.text-template", {Odt, "ott"}},
    {"application/vnd.oasis.opendocument.text-master", {Odt, "odm"}},
    {"application/vnd.oasis.opendocument.text", {Odt}},
    {"application/vnd.oasis.opendocument.spreadsheet-template", {Ods, "ots"}},
    {"application/vnd.oasis.opendocument.spreadsheet", {Ods}},
    {"application/vnd.oasis.opendocument.presentation-template", {Odp, "otp"}},
    {"application/vnd.oasis.opendocument.presentation", {Odp}},
    {"application/vnd.oasis.opendocument.graphics-template", {Odg, "otg"}},
    {"application/vnd.oasis.opendocument.graphics", {Odg}},
    {"application/vnd.oasis.opendocument.formula-template", {Odf, "otf"}},
    {"application/vnd.oasis.opendocument.formula", {Odf}},
    {"application/x-vnd.oasis.opendocument.formula", {Odf}},
    {"application/vnd.oasis.opendocument.chart", {Odf, "odc"}},
    {"application/vnd.oasis.opendocument.image", {Odg, "odi"}},
    {"application/vnd.oasis.opendocument.drawing", {Odg}},
    {"application/vnd.oasis.opendocument.base", {Odb}},
    {"application/vnd.oasis.opendocument.database", {Odb}},
    {"application/vnd.sun.xml.base", {Odb}},
    {"application/vnd.sun.xml.writer.global", {Odt, "sxg"}},
    {"application/vnd.sun.xml.writer.template", {Odt, "stw"}},
    {"application/vnd.sun.xml.writer", {Odt, "sxw"}},
    {"application/vnd.sun.xml.calc.template", {Ods, "stc"}},
    {"application/vnd.sun.xml.calc", {Ods, "sxc"}},
    {"application/vnd.sun.xml.impress.template", {Odp, "sti"}},
    {"application/vnd.sun.xml.impress", {Odp, "sxi"}},
    {"application/vnd.sun.xml.draw.template", {Odg, "std"}},
    {"application/vnd.sun.xml.draw", {Odg, "sxd"}},
    {"application/vnd.sun.xml.math", {Odf, "sxm"}},
    {"application/x-vnd.corel.", {Cdr}},
    {"application/epub+zip", {Zip, "epub"}},
    {"application/x-krita", {Zip, "kra"}},
    {"image/openraster", {Zip, "ora"}},
    {"application/vnd.adobe.indesign-idml-package", {Zip, "idml"}},
    {"application/vnd.recordare.musicxml", {Zip, "mxl"}},
    {"application/vnd.etsi.asic-e+zip", {Zip, "asice"}},
    {"application/vnd.etsi.asic-s+zip", {Zip, "asics"}},
};

// The content type of the main part. Only this distinguishes templates and slide shows from documents.
constexpr TextKind MainParts[] = {
    {"vnd.openxmlformats-officedocument.wordprocessingml.template.main", {Docx, "dotx"}},
    {"vnd.ms-word.document.macroEnabled.main", {Docx, "docm"}},
    {"vnd.ms-word.template.macroEnabledTemplate.main", {Docx, "dotm"}},
    {"vnd.ms-excel.sheet.binary.macroEnabled.main", {Xlsx, "xlsb"}},
    {"vnd.ms-excel.sheet.macroEnabled.main", {Xlsx, "xlsm"}},
    {"vnd.ms-excel.template.macroEnabled.main", {Xlsx, "xltm"}},
    {"vnd.ms-excel.addin.macroEnabled.main", {Xlsx, "xlam"}},
    {"vnd.openxmlformats-officedocument.spreadsheetml.template.main", {Xlsx, "xltx"}},
    {"vnd.openxmlformats-officedocument.presentationml.slideshow.main", {Pptx, "ppsx"}},
    {"vnd.openxmlformats-officedocument.presentationml.template.main", {Pptx, "potx"}},
    {"vnd.ms-powerpoint.presentation.macroEnabled.main", {Pptx, "pptm"}},
    {"vnd.ms-powerpoint.slideshow.macroEnabled.main", {Pptx, "ppsm"}},
    {"vnd.ms-powerpoint.template.macroEnabled.main", {Pptx, "potm"}},
};

// Members that identify archives.
enum Sign : std::uint8_t {
    WordFolder,
    ExcelFolder,
    SlidesFolder,
    VisioFolder,
    DrawingOfCorel,
    SheetOfPocket,
    Manifest,
    AndroidManifest,
    WebApplication,
    EnterpriseApplication,
    PhonePayload,
    FixedSequence,
    Model3D,
    PackageSpec,
    ExtensionManifest,
    MapDocument,
    OldInstall,
    SignedAddOn,
    WheelFolder,
    EggFolder,
    Container,
    Publication,
};

struct NameSign {
    std::string_view text;
    Sign sign;
    enum Place : std::uint8_t { AtStart, Whole, AtEnd } place;
};
constexpr NameSign NameSigns[] = {
    {"word/", WordFolder, NameSign::AtStart},
    {"xl/", ExcelFolder, NameSign::AtStart},
    {"ppt/", SlidesFolder, NameSign::AtStart},
    {"visio/", VisioFolder, NameSign::AtStart},
    {"content/riffData.cdr", DrawingOfCorel, NameSign::Whole},
    {"PxlPkg.plist", SheetOfPocket, NameSign::AtEnd},
    {"META-INF/MANIFEST.MF", Manifest, NameSign::Whole},
    {"META-INF/maven/", Manifest, NameSign::AtStart},
    {"AndroidManifest.xml", AndroidManifest, NameSign::Whole},
    {"WEB-INF/", WebApplication, NameSign::AtStart},
    {"META-INF/application.xml", EnterpriseApplication, NameSign::Whole},
    {"Payload/", PhonePayload, NameSign::AtStart},
    {"FixedDocSeq.fdseq", FixedSequence, NameSign::AtEnd},
    {"FixedDocumentSequence.fdseq", FixedSequence, NameSign::AtEnd},
    {"3D/3dmodel.model", Model3D, NameSign::Whole},
    {"3D/3DModel.model", Model3D, NameSign::Whole},
    {".nuspec", PackageSpec, NameSign::AtEnd},
    {"extension.vsixmanifest", ExtensionManifest, NameSign::Whole},
    {"doc.kml", MapDocument, NameSign::Whole},
    {"install.rdf", OldInstall, NameSign::Whole},
    {"META-INF/mozilla.rsa", SignedAddOn, NameSign::Whole},
    {".dist-info/WHEEL", WheelFolder, NameSign::AtEnd},
    {"EGG-INFO/", EggFolder, NameSign::AtStart},
    {"META-INF/container.xml", Container, NameSign::Whole},
    {".opf", Publication, NameSign::AtEnd},
};

bool Matches(const NameSign& sign, std::string_view name) {
    switch (sign.place) {
        case NameSign::AtStart:
            return name.starts_with(sign.text);
        case NameSign::Whole:
            return name == sign.text;
        case NameSign::AtEnd:
            return name.ends_with(sign.text);
    }
    return false;
}

constexpr std::uint64_t BitOf(Sign sign) { return std::uint64_t{1} << sign; }

struct SignKind {
    Sign sign;
    PackageKind kind;
};
// First packages with a list of content types, then the others; the first sign that was seen decides.
constexpr SignKind PackageSigns[] = {
    {WordFolder, {Docx}},
    {ExcelFolder, {Xlsx}},
    {SlidesFolder, {Pptx}},
    {VisioFolder, {Zip, "vsdx"}},
    {FixedSequence, {Zip, "xps"}},
    {Model3D, {Zip, "3mf"}},
    {ExtensionManifest, {Zip, "vsix"}},
    {PackageSpec, {Zip, "nupkg"}},
};
constexpr SignKind OtherSigns[] = {
    {DrawingOfCorel, {Cdr}},        {SheetOfPocket, {Pxl}},      {AndroidManifest, {Jar, "apk"}},
    {SignedAddOn, {Zip, "xpi"}},    {OldInstall, {Zip, "xpi"}},  {EnterpriseApplication, {Jar, "ear"}},
    {WebApplication, {Jar, "war"}}, {Manifest, {Jar}},           {PhonePayload, {Zip, "ipa"}},
    {MapDocument, {Zip, "kmz"}},    {WheelFolder, {Zip, "whl"}}, {EggFolder, {Zip, "egg"}},
};

}  // namespace

void ZipNames::Take(std::string_view name, std::int64_t index) {
    if (name == "mimetype" && mimeType_ < 0) {
        mimeType_ = index;
    } else if (name == "[Content_Types].xml" && contentTypes_ < 0) {
        contentTypes_ = index;
    }
    for (const NameSign& sign : NameSigns) {
        if (Matches(sign, name)) {
            seen_ |= BitOf(sign.sign);
        }
    }
    if (name.ends_with(".npy")) {
        hasArrays_ = true;
    } else if (name.ends_with(".class")) {
        hasClasses_ = true;
    } else {
        hasOthers_ = hasOthers_ || !name.ends_with('/');
    }
}

PackageKind ZipNames::Kind(std::string_view text) const {
    if (mimeType_ >= 0) {
        const auto* const known =
            std::ranges::find_if(MimeTypes, [text](const TextKind& kind) { return text.starts_with(kind.text); });
        if (known != std::end(MimeTypes)) {
            return known->kind;
        }
    }
    return contentTypes_ >= 0 ? OfficeKind(text) : PlainKind();
}

PackageKind ZipNames::OfficeKind(std::string_view contentTypes) const {
    for (const SignKind& each : PackageSigns) {
        if ((seen_ & BitOf(each.sign)) == 0) {
            continue;
        }
        const auto* const part = std::ranges::find_if(MainParts, [&](const TextKind& kind) {
            return kind.kind.type == each.kind.type && contentTypes.find(kind.text) != std::string_view::npos;
        });
        return part == std::end(MainParts) ? each.kind : part->kind;
    }
    return PlainKind();
}

PackageKind ZipNames::PlainKind() const {
    const auto* const known =
        std::ranges::find_if(OtherSigns, [this](const SignKind& each) { return (seen_ & BitOf(each.sign)) != 0; });
    if (known != std::end(OtherSigns)) {
        return known->kind;
    }
    // Books without their media type, and music, which needs none.
    if ((seen_ & BitOf(Container)) != 0) {
        return {Zip, (seen_ & BitOf(Publication)) != 0 ? "epub" : "mxl"};
    }
    if (isJava_ || (hasClasses_ && !hasArrays_ && !hasOthers_)) {
        return {Jar};
    }
    return hasArrays_ && !hasClasses_ && !hasOthers_ ? PackageKind{Zip, "npz"} : PackageKind{Zip};
}

}  // namespace salvor
