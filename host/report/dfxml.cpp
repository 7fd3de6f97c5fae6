#include <fmt/chrono.h>
#include <fmt/format.h>

#include <ctime>
#include <optional>
#include <pugixml.hpp>
#include <sstream>
#include <string_view>

#include "host/report/report_format.h"
#include "host/say/say.h"

namespace salvor {

namespace {

using pugi::xml_node;

constexpr const char* Head =
    R"(<?xml version="1.0" encoding="UTF-8"?>
<dfxml xmlns="http://www.forensicswiki.org/wiki/Category:Digital_Forensics_XML")"
    R"( xmlns:dc="http://purl.org/dc/elements/1.1/" xmlns:salvor="urn:x-salvor:report:1" version="2.0.0-beta.0">
<metadata><dc:type>Carve Report</dc:type></metadata>
)";

// XML allows neither control characters nor the two last code points of the plane.
std::string XmlText(std::string_view text) {
    std::string clean = Printable(text);
    for (const std::string_view letter : {"\xEF\xBF\xBE", "\xEF\xBF\xBF"}) {
        for (std::size_t at = clean.find(letter); at != std::string::npos; at = clean.find(letter, at)) {
            clean.replace(at, letter.size(), letter.back() == '\xBE' ? "\\uFFFE" : "\\uFFFF");
        }
    }
    return clean;
}

void AddText(xml_node parent, const char* name, std::string_view text) {
    parent.append_child(name).text().set(XmlText(text).c_str());
}

void AddNumber(xml_node parent, const char* name, std::int64_t number) {
    parent.append_child(name).text().set(fmt::format("{}", number).c_str());
}

void SetNumber(xml_node node, const char* name, std::int64_t number) {
    node.append_attribute(name).set_value(fmt::format("{}", number).c_str());
}

void AddKnown(xml_node parent, const char* name, std::string_view text) {
    if (!text.empty()) {
        AddText(parent, name, text);
    }
}

// Seconds since 1970; times that the schema's dates cannot hold are left out.
void AddTime(xml_node parent, const char* name, const std::optional<std::int64_t>& seconds) {
    constexpr std::int64_t endOf9999 = 253402300800;
    if (seconds && *seconds >= 0 && *seconds < endOf9999) {
        AddText(parent, name, fmt::format("{:%Y-%m-%dT%H:%M:%SZ}", fmt::gmtime(static_cast<std::time_t>(*seconds))));
    }
}

void AddOriginal(xml_node object, const OriginalEntry& original) {
    if (!original.path.empty()) {
        AddNumber(object, "alloc", original.isDeleted ? 0 : 1);
    }
    AddTime(object, "mtime", original.modified);
    AddTime(object, "ctime", original.changed);
    AddTime(object, "atime", original.accessed);
    AddTime(object, "crtime", original.created);
}

void AddRuns(xml_node object, const ReportedFile& file, std::int64_t sectorSize) {
    xml_node runs = object.append_child("byte_runs");
    std::int64_t offset = 0;
    for (const Extent& extent : file.extents) {
        xml_node run = runs.append_child("byte_run");
        SetNumber(run, "file_offset", offset);
        if (!extent.IsHole()) {
            SetNumber(run, "img_offset", extent.startSector * sectorSize);
        }
        SetNumber(run, "len", extent.bytes);
        if (extent.IsHole()) {
            SetNumber(run, "fill", 0);
        }
        offset += extent.bytes;
    }
}

// Elements for facts that the format has no names for.
void AddOwn(xml_node object, const ReportedFile& file) {
    AddText(object, "salvor:verdict", VerdictName(file.verdict));
    AddText(object, "salvor:why", file.why);
    AddText(object, "salvor:type", file.typeName);
    if (file.reportedSize) {
        AddNumber(object, "salvor:reported_size", *file.reportedSize);
    }
    for (const std::string& flag : file.flags) {
        AddText(object, "salvor:flag", flag);
    }
    AddKnown(object, "salvor:container", file.container);
    AddKnown(object, "salvor:original_path", file.original.path);
    AddKnown(object, "salvor:taken", file.details.taken);
    if (file.details.width > 0) {
        AddNumber(object, "salvor:width", file.details.width);
        AddNumber(object, "salvor:height", file.details.height);
    }
    AddKnown(object, "salvor:title", file.details.title);
    AddKnown(object, "salvor:camera", file.details.camera);
    for (const ReportedPart& part : file.embedded) {
        xml_node embedded = object.append_child("salvor:embedded");
        SetNumber(embedded, "start_sector", part.startSector);
        SetNumber(embedded, "size", part.size);
        embedded.append_attribute("extension").set_value(XmlText(part.extension).c_str());
        embedded.append_attribute("verdict").set_value(VerdictName(part.verdict));
    }
}

// The elements are in the order of the schema.
void AddFile(xml_node parent, const ReportedFile& file, std::int64_t number, std::int64_t sectorSize) {
    xml_node object = parent.append_child("fileobject");
    AddText(object, "filename", file.path);
    if (file.unreadableBytes > 0) {
        AddText(object, "error", fmt::format("{} bytes could not be read and are zeros", file.unreadableBytes));
    }
    AddNumber(object, "id", number);
    AddText(object, "name_type", "r");
    AddNumber(object, "filesize", file.size);
    AddOriginal(object, file.original);
    AddRuns(object, file, sectorSize);
    if (!file.sha256.empty()) {
        AddText(object, "hashdigest", file.sha256);
        object.last_child().append_attribute("type").set_value("sha256");
    }
    AddOwn(object, file);
}

// The program that wrote the report, and the image that it is about.
void AddOrigin(xml_node parent, const ReportSummary& summary) {
    xml_node creator = parent.append_child("creator");
    AddText(creator, "program", "salvor");
    AddText(creator, "version", SALVOR_VERSION);
    AddText(creator.append_child("build_environment"), "compiler", __VERSION__);
    AddText(parent.append_child("source"), "image_filename", summary.image);
}

void AddMedium(xml_node parent, const ReportSummary& summary) {
    xml_node medium = parent.append_child("salvor:medium");
    SetNumber(medium, "size", summary.imageSize);
    SetNumber(medium, "sector_size", summary.sectorSize);
    for (const SectorRange& range : summary.unreadable) {
        xml_node unreadable = medium.append_child("salvor:unreadable");
        SetNumber(unreadable, "img_offset", range.first * summary.sectorSize);
        SetNumber(unreadable, "len", range.count * summary.sectorSize);
    }
}

// Writes a few elements at a time: for a million files, the whole would not fit into memory.
template <class Add>
void Write(const TextSink& sink, Add add) {
    pugi::xml_document document;
    add(document.root());
    std::ostringstream text;
    for (const xml_node& node : document.children()) {
        node.print(text, " ");
    }
    sink(text.str());
}

}  // namespace

void WriteDfxml(ReportReader& reader, const TextSink& sink) {
    const ReportSummary& summary = reader.Summary();
    sink(Head);
    Write(sink, [&](xml_node parent) { AddOrigin(parent, summary); });
    std::int64_t number = 0;
    for (ReportedFile file; reader.Next(file);) {
        Write(sink, [&](xml_node parent) { AddFile(parent, file, ++number, summary.sectorSize); });
    }
    Write(sink, [&](xml_node parent) { AddMedium(parent, summary); });
    sink("</dfxml>\n");
}

}  // namespace salvor
