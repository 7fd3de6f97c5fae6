#include "host/report/report.h"

#include <fcntl.h>
#include <fmt/format.h>

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
    for (const std::int32_t type : file.claimants) {
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
    const std::int32_t first = file.claimants.front();
    return {{"record", "file"},
            {"path", file.path},
            {"type", FileTypeCatalog[first].name},
            {"extension", ExtensionOf(first)},
            {"types", types},
            {"start_sector", file.startSector},
            {"start_byte", file.startSector * sectorSize},
            {"size", file.size},
            {"size_from", SizeSourceName(file.sizeSource)},
            {"sha256", result.sha256},
            {"flags", flags}};
}

Json PassedOverRecord(const Find& find, std::string_view reason) {
    return {{"record", "skipped"},
            {"type", TypeToJson(find.type)},
            {"start_sector", find.startSector},
            {"size", find.size},
            {"reason", reason}};
}

std::string TotalsTable(const ExtractTotals& totals) {
    std::string table = fmt::format("{:<10} {:>10} {:>14}\n", "extension", "files", "size");
    std::int64_t files = 0;
    for (const auto& [extension, counts] : totals.byExtension) {
        table += fmt::format("{:<10} {:>10} {:>14}\n", extension, counts.first, FormatSize(counts.second));
        files += counts.first;
    }
    table += fmt::format("{:<10} {:>10} {:>14}\n", "all", files, FormatSize(totals.bytes));
    if (totals.alreadyThere > 0) {
        table += fmt::format("{} of them were there already\n", totals.alreadyThere);
    }
    if (totals.withUnreadable > 0) {
        table += fmt::format("{} of them hold zeros where sectors could not be read\n", totals.withUnreadable);
    }
    if (totals.measured > 0) {
        table += fmt::format("{} of them got their size from what they hold, since the scan left it open\n",
                             totals.measured);
    }
    if (totals.bounded > 0) {
        table +=
            fmt::format("{} of them are as long as they may be, since nothing says where they end\n", totals.bounded);
    }
    for (const auto& [reason, count] : totals.passedOver) {
        table += fmt::format("not written: {} ({})\n", count, reason);
    }
    return table;
}

}  // namespace salvor
