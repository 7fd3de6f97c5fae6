#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "host/app/command.h"
#include "host/app/options.h"
#include "host/medium/ewf_image.h"
#include "host/medium/open_image.h"
#include "host/platform/device_facts.h"
#include "host/platform/mounts.h"
#include "host/platform/stop_request.h"
#include "host/records/digest.h"
#include "host/say/progress.h"
#include "host/say/say.h"
#include "host/say/size_text.h"
#include "host/volumes/learn.h"

namespace salvor {

namespace {

struct InfoCommand {
    ImageSpec image;
    bool verify = false;
    bool quiet = false;
};

void TellFact(std::string_view name, std::string_view text) { Tell(fmt::format("{:<16} {}\n", name, Printable(text))); }

void TellImage(const ImageSpec& image, const Medium& medium) {
    const std::size_t files = medium.Files().size();
    TellFact("image", image.path);
    TellFact("format", fmt::format("{}{}", ImageFormatWord(medium.Format()),
                                   files > 1 ? fmt::format(", {} files", files) : std::string()));
    TellFact("size", fmt::format("{} bytes ({})", medium.SizeInBytes(), FormatSize(medium.SizeInBytes())));
    if (const std::int64_t sectors = medium.Unreadable().SectorCount(); sectors > 0) {
        TellFact("not rescued", fmt::format("{}, as the map says", FormatSize(sectors * medium.SectorSize())));
    }
    TellFact("sector size", fmt::format("{} bytes", medium.SourceSectorSize()));
}

void TellDevice(const std::string& path) {
    const auto facts = FactsOfDevice(path);
    if (!facts) {
        return;
    }
    for (const auto& [name, text] : {std::pair("model", facts->model), std::pair("serial number", facts->serial)}) {
        if (!text.empty()) {
            TellFact(name, text);
        }
    }
    if (facts->logicalSectorSize > 0) {
        TellFact("sectors", fmt::format("of {} bytes in orders, {} on the disk", facts->logicalSectorSize,
                                        facts->physicalSectorSize));
    }
    for (const std::string& place : MountedForWriting(path)) {
        TellFact("mounted", fmt::format("for writing at '{}'", place));
    }
}

void TellAcquisition(const EwfFacts& facts) {
    if (!facts.missing.empty()) {
        TellFact("missing", facts.missing);
    }
    for (const auto& [name, text] : facts.acquisition) {
        TellFact(name, text);
    }
    for (const auto& [name, digest] : {std::pair("stored MD5", facts.md5), std::pair("stored SHA-1", facts.sha1)}) {
        if (!digest.empty()) {
            TellFact(name, digest);
        }
    }
}

// Reads the whole medium and compares it with the digests stored in the image.
ExitStatus Verify(Medium& medium, const EwfFacts& facts, bool quiet) {
    if (facts.md5.empty() && facts.sha1.empty()) {
        throw Failure(ExitStatus::Usage, fmt::format("--verify: the image has no MD5 and no SHA-1 to compare with{}",
                                                     facts.missing.empty() ? "" : ", as its end is missing"));
    }
    constexpr std::int64_t pieceBytes = std::int64_t{1} << 20U;
    Md5 md5;
    Sha1 sha1;
    std::vector<std::uint8_t> piece(pieceBytes);
    {
        Progress progress("reading", medium.SizeInBytes(), quiet);
        for (std::int64_t at = 0; at < medium.SizeInBytes(); at += pieceBytes) {
            const auto length = static_cast<std::size_t>(std::min(pieceBytes, medium.SizeInBytes() - at));
            medium.Read(at / medium.SectorSize(), piece.data(), pieceBytes / medium.SectorSize());
            if (StopRequested() || medium.IsInterrupted()) {
                return ExitStatus::Stopped;
            }
            md5.Add(piece.data(), length);
            sha1.Add(piece.data(), length);
            progress.Update(at + static_cast<std::int64_t>(length), {});
        }
    }
    bool isRight = true;
    for (const auto& [name, stored, read] :
         {std::tuple("MD5", facts.md5, md5.Hex()), std::tuple("SHA-1", facts.sha1, sha1.Hex())}) {
        if (!stored.empty()) {
            isRight = isRight && stored == read;
            TellFact(name, stored == read ? "is that of the medium's bytes" : fmt::format("differs: {}", read));
        }
    }
    if (const std::int64_t lost = medium.Unreadable().SectorCount(); lost > 0) {
        TellFact("unreadable", Counted(lost, "sector"));
    }
    return isRight ? ExitStatus::Done : ExitStatus::Losses;
}

void TellVolumes(const Knowledge& knowledge) {
    for (const Volume& volume : knowledge.volumes) {
        std::string text =
            fmt::format("sectors {} to {} ({})", volume.sectors.first, volume.sectors.first + volume.sectors.count - 1,
                        FormatSize(volume.sectors.count * SmallestSectorSize));
        text += volume.description.empty() ? "" : ", " + volume.description;
        if (volume.isReadable) {
            text += fmt::format(", {} with clusters of {}", volume.fileSystem, FormatExactSize(volume.clusterBytes));
        } else {
            text += fmt::format(", {}: carved as a stream",
                                volume.fileSystem.empty() ? "no known file system" : volume.fileSystem);
        }
        TellFact(fmt::format("volume {}", volume.number), text);
    }
}

ExitStatus RunInfo(const InfoCommand& command) {
    const auto medium = OpenMedium(command.image, SmallestSectorSize, {false, StopRequested});
    TellImage(command.image, *medium);
    TellDevice(command.image.path);
    const EwfFacts facts = medium->Format() == ImageFormat::Ewf ? ReadEwfFacts(medium->Files()) : EwfFacts();
    TellAcquisition(facts);
    TellVolumes(LearnVolumes(*medium, command.image, {}));
    return command.verify ? Verify(*medium, facts, command.quiet) : ExitStatus::Done;
}

}  // namespace

Command InfoCommandLine() {
    const auto command = std::make_shared<InfoCommand>();
    Command line{.name = "info", .description = "Describe an image or a device", .group = "Looking and choosing"};
    line.options.push_back({.name = "IMAGE",
                            .target = &command->image.path,
                            .help = "Image file or block device; opened read-only",
                            .isRequired = true});
    AddImageOptions(line, command->image);
    line.options.push_back({.name = "--verify",
                            .target = &command->verify,
                            .help = "Read the whole E01 image and compare it with the hashes stored in it"});
    AddQuiet(line, command->quiet);
    line.footer = "Example: salvor info disk.E01 --verify";
    line.run = [command] {
        return RunInfo(*command);
    };
    return line;
}

}  // namespace salvor
