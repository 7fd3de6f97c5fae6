#include "host/report/report.h"

#include <fcntl.h>
#include <fmt/format.h>

#include <algorithm>
#include <cerrno>

#include "host/app/failure.h"
#include "host/files/write_all.h"
#include "host/plan/size_rules.h"
#include "host/scan/scanners.h"

namespace salvor {

namespace {

Json TypeToJson(std::int32_t type) {
    return {{"index", type}, {"name", FileTypeCatalog[type].name}, {"extension", ExtensionOf(type)}};
}

// What the scanner of the file's type said, else that of another type; null where none did.
Json ReportedSize(const PlannedFile& file) {
    if (file.reported.empty()) {
        return nullptr;
    }
    const auto own = std::ranges::find(file.reported, file.finding.type, &ReportedClaim::type);
    return own == file.reported.end() ? file.reported.front().size : own->size;
}

Json SkippedRecord(const Finding& finding, std::int64_t startSector, const std::vector<ReportedClaim>& reported) {
    Json claims = Json::array();
    for (const ReportedClaim& claim : reported) {
        claims.push_back({{"extension", ExtensionOf(claim.type)}, {"size", claim.size}});
    }
    return {{"record", "skipped"},         {"type", TypeToJson(finding.type)},
            {"start_sector", startSector}, {"size", finding.size},
            {"reported", claims},          {"verdict", VerdictName(finding.verdict)}};
}

}  // namespace

LineFile::LineFile(std::filesystem::path path)
    : path_(std::move(path)),
      partial_(path_.string() + ".part"),
      fd_(open(partial_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0666)) {
    if (!fd_.IsOpen()) {
        throw Failure(ExitStatus::Losses,
                      fmt::format("cannot create the report '{}': {}", path_.string(), ErrorText(errno)));
    }
}

void LineFile::Add(const Json& value) {
    constexpr std::size_t pendingLimit = 1U << 16U;
    pending_ += JsonLine(value);
    if (pending_.size() > pendingLimit) {
        Flush();
    }
}

void LineFile::Finish() {
    Flush();
    if (fsync(fd_.Get()) != 0 || !fd_.Close() || rename(partial_.c_str(), path_.c_str()) != 0) {
        throw Failure(ExitStatus::Losses,
                      fmt::format("cannot complete the report '{}': {}", path_.string(), ErrorText(errno)));
    }
}

void LineFile::Flush() {
    if (!WriteAll(fd_.Get(), pending_.data(), pending_.size())) {
        throw Failure(ExitStatus::Losses, fmt::format("cannot write the report '{}': {}; free some space and run the "
                                                      "command again, files that are there stay",
                                                      partial_.string(), ErrorText(errno)));
    }
    pending_.clear();
}

Json FileRecord(const PlannedFile& file, const WriteResult& result, std::int32_t sectorSize) {
    Json types = Json::array();
    for (const std::int32_t type : file.types) {
        types.push_back(TypeToJson(type));
    }
    Json flags = Json::array();
    if (file.cutAtEnd) {
        flags.push_back("cut at end of medium");
    }
    if (file.atSizeCap) {
        flags.push_back("size cap reached");
    }
    if (result.hasUnreadableSectors) {
        flags.push_back("unreadable sectors");
    }
    Json record{{"record", "file"},
                {"path", file.path},
                {"type", FileTypeCatalog[file.finding.type].name},
                {"extension", ExtensionOf(file.finding)},
                {"types", types},
                {"start_sector", file.StartSector()},
                {"start_byte", file.StartSector() * sectorSize},
                {"size", file.Size()},
                {"reported_size", ReportedSize(file)},
                {"verdict", VerdictName(file.finding.verdict)},
                {"why", file.finding.why},
                {"sha256", result.sha256},
                {"flags", flags}};
    if (file.extents.size() > 1) {
        for (const Extent& extent : file.extents) {
            record["extents"].push_back({{"start_sector", extent.startSector}, {"bytes", extent.bytes}});
        }
    }
    if (!file.container.empty()) {
        record["container"] = file.container;
    }
    for (const EmbeddedFile& one : file.embedded) {
        record["embedded"].push_back({{"start_sector", one.startSector},
                                      {"extension", ExtensionOf(one.finding)},
                                      {"size", one.finding.size},
                                      {"verdict", VerdictName(one.finding.verdict)}});
    }
    return record;
}

Json PassedOverRecord(const PassedOver& passed) {
    const Finding& finding = passed.outcome.finding;
    Json record = SkippedRecord(finding, passed.outcome.startSector, passed.outcome.reported);
    record["reason"] = ReasonText(passed.reason);
    record["why"] = finding.why;
    if (!passed.container.empty()) {
        record["container"] = passed.container;
    }
    return record;
}

Json FailedRecord(const PlannedFile& file, std::string_view reason) {
    Json record = SkippedRecord(file.finding, file.StartSector(), file.reported);
    record["reason"] = reason;
    return record;
}

Json CountsToJson(const FileCounts& counts) {
    Json record{{"files", counts.files}, {"bytes", counts.bytes}};
    for (const Verdict verdict : {Verdict::Whole, Verdict::Open, Verdict::Truncated, Verdict::Damaged}) {
        record[VerdictName(verdict)] = counts.byVerdict[static_cast<std::size_t>(verdict)];
    }
    return record;
}

std::string TotalsTable(const ExtractTotals& totals) {
    std::string table = fmt::format("{:<10} {:>10} {:>10} {:>10} {:>10} {:>10} {:>14}\n", "extension", "files", "whole",
                                    "open", "truncated", "damaged", "size");
    const auto addLine = [&table](const std::string& name, const FileCounts& counts) {
        const auto& by = counts.byVerdict;
        table += fmt::format("{:<10} {:>10} {:>10} {:>10} {:>10} {:>10} {:>14}\n", name, counts.files, by[0], by[1],
                             by[2], by[3], FormatSize(counts.bytes));
    };
    FileCounts all;
    for (const auto& [extension, counts] : totals.byExtension) {
        addLine(extension, counts);
        all.files += counts.files;
        all.bytes += counts.bytes;
        for (std::size_t i = 0; i < all.byVerdict.size(); ++i) {
            all.byVerdict[i] += counts.byVerdict[i];
        }
    }
    addLine("all", all);
    if (totals.text.files > 0) {
        addLine("and text", totals.text);
    }
    if (totals.pieces > 0) {
        table += fmt::format("{} of the texts begin in the middle: they are in txt/pieces\n", totals.pieces);
    }
    if (totals.alreadyThere > 0) {
        table += fmt::format("{} of them were there already\n", totals.alreadyThere);
    }
    if (totals.withUnreadable > 0) {
        table += fmt::format("{} of them hold zeros where sectors could not be read\n", totals.withUnreadable);
    }
    for (const auto& [reason, count] : totals.passedOver) {
        table += fmt::format("not written: {} ({})\n", count, reason);
    }
    return table;
}

}  // namespace salvor
