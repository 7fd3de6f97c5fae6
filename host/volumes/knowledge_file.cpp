#include "host/volumes/knowledge_file.h"

#include <algorithm>
#include <utility>

#include "host/records/json_lines.h"
#include "host/validate/outcomes_file.h"
#include "host/volumes/joined_worker.h"

namespace salvor {

namespace {

// The first line, and the line after which there are findings.
constexpr const char* FormatName = "salvor-known";
Json Header(const std::string& of) {
    return {{"record", "header"}, {"format", FormatName}, {"version", 2}, {"of", of}};
}
constexpr const char* Told = R"({"record":"told"})";

}  // namespace

KnowledgeWriter::KnowledgeWriter(const FilePlace& place, const std::string& of)
    : log_(place, "file of what file systems know") {
    log_.Add(JsonLine(Header(of)));
}

void KnowledgeWriter::Add(const KeptKnowledge& kept) {
    const Knowledge& knowledge = kept.knowledge;
    VolumeLines lines([this](const std::string& line) { log_.Add(line); }, [] { return false; });
    std::ranges::for_each(knowledge.volumes, [&](const Volume& volume) { lines.OnVolume(volume); });
    std::ranges::for_each(knowledge.used, [&](SectorRange range) { lines.OnUsed(range); });
    std::ranges::for_each(knowledge.slack, [&](SectorRange range) { lines.OnSlack(range); });
    std::ranges::for_each(knowledge.files, [&](const KnownFile& file) { lines.OnFile(file); });
    std::ranges::for_each(knowledge.outOfReach, [&](OutOfReach files) { lines.OnOutOfReach(files); });
    lines.End();
    log_.Add(std::string(Told) + '\n');
    for (const auto& [file, finding] : kept.joined) {
        Add(file, finding);
    }
    log_.Sync();
}

void KnowledgeWriter::Add(std::int32_t file, const Finding& finding) { log_.Add(JoinedLine(file, finding)); }

bool IsKnowledgeFile(const FilePlace& place) {
    File file = place.Read();
    std::string line;
    if (!file.IsOpen() || !LineReader(file).Next(line)) {
        return true;
    }
    const Json header = ParseJsonLine(line);
    return header.is_object() && header.contains("format") && header["format"] == FormatName;
}

std::optional<KeptKnowledge> ReadKnowledge(const FilePlace& place, const std::string& of, const Medium& medium) {
    File file = place.Read();
    LineReader lines(file);
    std::string line;
    if (!file.IsOpen() || !lines.Next(line) || ParseJsonLine(line) != Header(of)) {
        return std::nullopt;
    }
    KeptKnowledge kept;
    while (lines.Next(line) && line != Told) {
        if (lines.WasCut() || !AddLine(line, medium, kept.knowledge)) {
            return std::nullopt;
        }
    }
    if (line != Told) {
        return std::nullopt;
    }
    while (lines.Next(line) && !lines.WasCut()) {
        try {
            OutcomesRead read;
            TakeOutcomesLine(line, read);
            kept.joined.insert(JoinedIn(read));
        } catch (const std::exception&) {
            break;
        }
    }
    return kept;
}

}  // namespace salvor
