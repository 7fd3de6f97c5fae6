#include "host/scan/scan_job.h"

#include <fmt/format.h>

#include <algorithm>
#include <exception>
#include <filesystem>
#include <random>
#include <system_error>
#include <vector>

#include "host/platform/device_facts.h"
#include "host/records/digest.h"
#include "host/records/json_lines.h"
#include "host/records/line_log.h"
#include "host/say/failure.h"
#include "host/scan/space_lines.h"

namespace salvor {

namespace {

constexpr const char* FileName = "scan.json";
constexpr const char* FormatName = "salvor-scan";
constexpr int FormatVersion = 1;

std::string DigestOf(const std::string& text) {
    Sha256 digest;
    digest.Add(text.data(), text.size());
    return digest.Hex();
}

Json ToJson(const ScanJob& job) {
    Json json = HeaderToJson(job.header);
    json["format"] = FormatName;
    json["version"] = FormatVersion;
    json["program"] = job.program;
    json["image"]["digest"] = job.medium.digest;
    json["image"]["modified"] = job.medium.modified ? Json(*job.medium.modified) : Json(nullptr);
    json["image"]["model"] = job.medium.model;
    json["image"]["serial"] = job.medium.serial;
    json["segment_blocks"] = job.segmentBlocks;
    if (job.choices) {
        json["choices"] = *job.choices;
    }
    return json;
}

// Throws an exception of the JSON library, or `std::invalid_argument`.
ScanJob FromJson(const Json& json) {
    ScanJob job;
    job.header = HeaderFromJson(json);
    if (json.contains("choices")) {
        job.choices = json.at("choices").get<Choices>();
    }
    job.program = json.at("program").get<std::string>();
    const Json& image = json.at("image");
    job.medium = {job.header.imageSize, std::nullopt, image.at("digest").get<std::string>(), image.value("model", ""),
                  image.value("serial", "")};
    if (image.at("modified").is_number_integer()) {
        job.medium.modified = image.at("modified").get<std::int64_t>();
    }
    job.segmentBlocks = std::max<std::int64_t>(IntegerIn(json, "segment_blocks"), 1);
    return job;
}

}  // namespace

MediumIdentity IdentityOf(Medium& medium) {
    MediumIdentity identity{medium.SizeInBytes(), std::nullopt, ""};
    for (const std::string& path : medium.Files()) {
        std::error_code none;
        const auto time = std::filesystem::last_write_time(path, none);
        if (!none && std::filesystem::is_regular_file(path, none)) {
            const std::int64_t modified = time.time_since_epoch().count();
            identity.modified = std::max(identity.modified.value_or(modified), modified);
        }
        if (const auto facts = FactsOfDevice(path)) {
            identity.model = facts->model;
            identity.serial = facts->serial;
        }
    }
    const std::int64_t count = std::min((std::int64_t{1} << 20) / medium.SectorSize(), medium.SectorCount());
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(count * medium.SectorSize()));
    Sha256 digest;
    for (const std::int64_t from : {std::int64_t{0}, medium.SectorCount() - count}) {
        medium.Read(from, bytes.data(), count);
        digest.Add(bytes.data(), bytes.size());
    }
    identity.digest = digest.Hex();
    return identity;
}

ScanJob MakeScanJob(const JournalHeader& header, const MediumIdentity& medium, std::int64_t segmentBlocks) {
    return {"salvor " SALVOR_VERSION, header, medium, segmentBlocks};
}

std::optional<ScanJob> ReadScanJob(const Folder& folder) {
    File file = folder.Read(FileName);
    if (!file.IsOpen() && file.Error().IsMissingEntry()) {
        return std::nullopt;
    }
    const auto fail = [&](const std::string& why) {
        return Failure(ExitStatus::NotStarted,
                       fmt::format("cannot go on with the scan that was begun in '{}': {}; name "
                                   "another folder, or pass --overwrite to begin anew",
                                   folder.Path().string(), why));
    };
    if (!file.IsOpen()) {
        throw fail(file.Error().Text());
    }
    std::string line;
    LineReader lines(file);
    try {
        lines.Next(line);
        const Json json = ParseJsonLine(line);
        if (json.at("format") == FormatName && json.at("program") != "salvor " SALVOR_VERSION) {
            throw fail("it was another version of the program");
        }
        if (json.at("format") == FormatName && json.at("version") == FormatVersion && !lines.WasCut()) {
            ScanJob job = FromJson(json);
            TakeSpace(json, lines, job.header);
            return job;
        }
    } catch (const Failure&) {
        throw;
    } catch (const std::exception&) {
        // The error is reported below.
    }
    throw fail(fmt::format("'{}' there is damaged", FileName));
}

void WriteScanJob(const Folder& folder, const ScanJob& job) {
    const std::string line = JsonLine(ToJson(job)) + (job.header.space ? SpaceLines(*job.header.space) : "");
    // Several machines may begin the same scan at the same time.
    const std::string draft = fmt::format("{}.{:08x}.part", FileName, std::random_device()());
    File file = folder.Create(draft);
    const auto require = [&](bool done, const std::string& why) {
        if (!done) {
            folder.Remove(draft);
            throw Failure(ExitStatus::NotStarted,
                          fmt::format("cannot begin a scan in '{}': {}", folder.Path().string(), why));
        }
    };
    const bool isWritten = file.IsOpen() && file.Write(line.data(), line.size()) && file.Sync();
    require(isWritten, file.Error().Text());
    const SystemError error = folder.Rename(draft, FileName);
    require(!error, error.Text());
    folder.SyncEntries();
    const std::optional<ScanJob> kept = ReadScanJob(folder);
    require(kept && KeyOf(*kept) == KeyOf(job), "another run has begun another one there");
}

std::string ChangeOf(const MediumIdentity& then, const MediumIdentity& now) {
    if (then.size != now.size) {
        return fmt::format("it had {} bytes and has {}", then.size, now.size);
    }
    // The system does not know every device's serial number.
    if (!then.serial.empty() && !now.serial.empty() && then.serial != now.serial) {
        return fmt::format("it was the disk '{}' with the serial number {} and is '{}' with {}", then.model,
                           then.serial, now.model, now.serial);
    }
    if (then.digest != now.digest) {
        return "its first or last MiB holds something else";
    }
    return then.modified && now.modified && then.modified != now.modified ? "the file was written to" : "";
}

ScanKey KeyOf(const ScanJob& job) {
    return {job.program, DigestOf(fmt::format("{} {}", job.medium.size, job.medium.digest)),
            DigestOf(JsonLine(OptionsToJson(job.header)))};
}

ScanRequest RequestOf(const JournalHeader& header) {
    ScanRequest request;
    request.range = header.ScannedRange();
    request.blockSectors = header.blockSize / header.sectorSize;
    request.types = header.types;
    request.caps = header.caps;
    request.withStarts = true;
    return request;
}

}  // namespace salvor
