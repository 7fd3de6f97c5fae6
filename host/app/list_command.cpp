#include <fmt/format.h>

#include <memory>
#include <string>
#include <utility>

#include "host/app/command.h"
#include "host/app/options.h"
#include "host/app/shown_files.h"
#include "host/report/report.h"
#include "host/say/say.h"
#include "host/say/size_text.h"

namespace salvor {

namespace {

struct ListCommand {
    ShownOptions shown;
    bool asJson = false;
};

std::string VerdictColumn(Verdict verdict) {
    const std::string name = fmt::format("{:<9}", VerdictName(verdict));
    const bool isBroken = verdict == Verdict::Truncated || verdict == Verdict::Damaged;
    return Coloured(name, isBroken ? Colour::Red : (verdict == Verdict::Whole ? Colour::Green : Colour::Yellow));
}

std::string LineOf(const ReportedFile& file) {
    std::string line =
        fmt::format("{}  {:>10}  {}", VerdictColumn(file.verdict), FormatSize(file.size), Printable(file.path));
    if (!file.original.path.empty()) {
        line += "  " + Printable(file.original.path);
    }
    if (file.details.width > 0) {
        line += fmt::format("  {}x{}", file.details.width, file.details.height);
    }
    if (!file.details.taken.empty()) {
        line += "  " + Printable(file.details.taken);
    }
    return line + '\n';
}

ExitStatus RunList(const ListCommand& command) {
    constexpr std::size_t toldAtOnce = std::size_t{1} << 16U;
    FileCounts counts;
    std::string text;
    const ShownFiles shown = ForEachShownFile(command.shown, [&](const ReportedFile& file, const Json& record) {
        counts.Add(file.verdict, file.size);
        text += command.asJson ? JsonLine(record) : LineOf(file);
        if (text.size() > toldAtOnce) {
            Tell(std::exchange(text, {}));
        }
    });
    if (!command.asJson) {
        const auto& by = counts.byVerdict;
        text += fmt::format("{}, {}: {} whole, {} open, {} truncated, {} damaged\n", Counted(counts.files, "file"),
                            FormatSize(counts.bytes), by[0], by[1], by[2], by[3]);
        for (const auto& [reason, count] : shown.leftOut) {
            text += fmt::format("left out: {} ({})\n", count, reason);
        }
    }
    Tell(text);
    return shown.isWhole ? ExitStatus::Done : ExitStatus::Losses;
}

}  // namespace

Command ListCommandLine() {
    const auto command = std::make_shared<ListCommand>();
    Command line{.name = "list",
                 .description = "List recovered files, or those that would be written",
                 .group = "Looking and choosing"};
    AddShownOptions(line, command->shown);
    line.options.push_back({.name = "--json",
                            .target = &command->asJson,
                            .help = "One JSON object per line, with everything known about the file"});
    line.footer = std::string(SizesLine) + "Example: salvor list card.finds --types jpg --min-size 1M --only whole";
    line.run = [command] {
        return RunList(*command);
    };
    return line;
}

}  // namespace salvor
