#include <FileTypeCatalog.h>
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <map>
#include <sstream>

#include "tests/host/Program.h"

// The program's options, its messages and where they go.

namespace salvor {

namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using namespace test;

TEST(CommandLine, RefusesWrongUsageWithOneClearLine) {
    const TempFolder folder;
    const std::string out = " --out " + Quoted(folder / "out");
    WriteFile(folder / "empty", std::string());
    WriteFile(folder / "finds", std::string("{}\n"));
    fs::create_directory(folder / "used");
    WriteFile(folder / "used/letter", std::string("mine"));
    struct Case {
        std::string arguments;
        int status;
        std::string says;
    };
    const std::vector<Case> cases{
        {"frobnicate", 2, "'frobnicate' is not a command"},
        // Frequent mistakes, and what the program suggests instead.
        {"recovr " + Card, 2, "did you mean 'recover'?"},
        {Card, 2, "'salvor recover "},
        {"recover " + Card + " recovered", 2, "nothing takes the word 'recovered'"},
        {"recover " + Card + out + " --type jpg", 2, "did you mean '--types'?"},
        {"recover " + Card + out + " --min-sise=4K", 2, "did you mean '--min-size'?"},
        {"recover " + Card + " -out recovered", 2, "did you mean '--out'?"},
        {"--types jpg recover " + Card + out, 2, "belongs after the command"},
        {"recover " + Card + out + " --types photo", 2, "did you mean 'photos'?"},
        {"recover " + Card + out + " --types documents,jpgs", 2, "did you mean 'jpg'?"},
        {"recover " + Card + out + " --only hole", 2, "did you mean 'whole'?"},
        {"recover " + Card + out + " --min-size many", 2, "64K"},
        {"recover " + Card + out + " --min-pixels 640", 2, "640x480"},
        {"recover " + Card + out + " --min-pixels 0x480", 2, "640x480"},
        {"recover " + Card + out + " --taken yesterday", 2, "2018..2019-05"},
        {"recover " + Card + out + " --taken 2019-13", 2, "2018..2019-05"},
        {"recover " + Card + out + " --taken 2020..2019", 2, "ends before"},
        {"recover " + Card + out + " --known " + Quoted(folder / "missing"), 3, "No such file"},
        {"recover " + Card + out + " --known " + Quoted(folder / "used/letter"), 2, "not a list of hashes"},
        {"recover " + Card + " --out", 2, "--out"},
        {"scan " + Card, 2, "--report"},
        {"recover " + Card, 2, "--out"},
        {"recover" + out, 2, "IMAGE"},
        {"recover " + Card + out + " --types xyz", 2, "'xyz' names no type"},
        {"types jpg xyz", 2, "'xyz' names no type"},
        {"recover " + Card + out + " --types jpg --exclude jpg", 2, "leave no type"},
        {"recover " + Card + out + " --min-size 5Q", 2, "'5Q'"},
        {"recover " + Card + out + " --min-size 2M --max-size 1M", 2, "leave no size"},
        {"recover " + Card + out + " --max-size xyz=5", 2, "'xyz' names no type"},
        {"recover " + Card + out + " --sector-size 511", 2, "--sector-size"},
        {"recover " + Card + out + " --sector-size 4097", 2, "--sector-size"},
        {"recover " + Card + out + " --block-size 511", 2, "--block-size"},
        {"recover " + Card + out + " --block-size 2G", 2, "--block-size"},
        {"recover " + Card + out + " --start 4096", 2, "sectors 0 to 4095"},
        {"recover " + Card + out + " --start -1", 2, "'-1'"},
        {"recover " + Card + out + " --start 0x10", 2, "'0x10'"},
        {"recover " + Card + out + " --length 99999999999999999999", 2, "--length"},
        {"recover " + Card + out + " --cap 0", 2, "--cap"},
        {"recover " + Card + " --out " + Quoted(folder / "used"), 2, "not empty"},
        {"scan " + Card + " --report " + Quoted(folder / "finds"), 2, "--overwrite"},
        {"recover " + Quoted(folder / "missing") + out, 3, "No such file"},
        {"recover " + Quoted(folder / "empty") + out, 3, "empty"},
        {"recover " + Quoted(folder.Path()) + out, 3, "folder"},
        {"recover /dev/null" + out, 3, "neither"},
        {"recover -" + out, 3, "save it first"},
        {"scan -", 3, "save it first"},
        {"recover " + Card + " --out " + Quoted(folder / "empty"), 3, folder.Path().string()},
        {"scan " + Card + " --report " + Quoted(folder / "no/such/finds"), 3, "No such file"},
        {"extract " + Quoted(folder / "missing") + out, 3, "No such file"},
        {"extract " + Quoted(folder / "finds") + out, 3, "header"},
        {"extract " + Quoted(folder / "empty") + out, 3, "empty"},
    };
    for (const Case& one : cases) {
        const ProgramRun run = RunProgram(one.arguments);
        EXPECT_EQ(run.status, one.status) << one.arguments << "\n" << run.errors;
        EXPECT_NE(run.errors.find(one.says), std::string::npos) << one.arguments << "\n" << run.errors;
        EXPECT_EQ(std::count(run.errors.begin(), run.errors.end(), '\n'), 1) << run.errors;
        EXPECT_FALSE(fs::exists(folder / "out")) << one.arguments;
    }
    const fs::path copy = folder / "copy.img";
    fs::copy_file(CardImage, copy);
    EXPECT_EQ(RunProgram("scan " + Quoted(copy) + " --overwrite --report " + Quoted(copy)).status, 2);
    EXPECT_EQ(ReadFile(copy), ReadFile(CardImage));
    EXPECT_EQ(RunProgram("scan " + Quoted(copy) + " --overwrite --report " + Quoted(folder / "finds")).status, 0);
}

TEST(CommandLine, ListsTheTypesAndHelpsWithExamples) {
    const ProgramRun types = RunProgram("types");
    EXPECT_EQ(types.status, 0);
    // Each type has a line and belongs to a group.
    const auto groups = types.output.find("Words for several");
    ASSERT_NE(groups, std::string::npos);
    EXPECT_EQ(std::count(types.output.begin(), types.output.begin() + static_cast<std::ptrdiff_t>(groups), '\n'), 115);
    for (const FileTypeIdentity& type : FileTypeCatalog) {
        EXPECT_NE(types.output.find(std::string(" ") + type.extension, groups), std::string::npos) << type.extension;
    }
    const std::string explained = RunProgram("types .JPG 46").output;
    for (const char* part : {"(41)", "(42)", "(46)", "  Found   ", "  Limits  ", "up to 10 MiB; estimated"}) {
        EXPECT_NE(explained.find(part), std::string::npos) << part << " is not in " << explained;
    }
    for (const char* command : {"scan", "extract", "recover", "types"}) {
        const ProgramRun help = RunProgram(std::string(command) + " --help");
        EXPECT_EQ(help.status, 0);
        EXPECT_NE(help.output.find(std::string("Example: salvor ") + command), std::string::npos) << help.output;
    }
    EXPECT_EQ(RunProgram("--version").status, 0);
    EXPECT_EQ(RunProgram("help recover").output, RunProgram("recover --help").output);
    const ProgramRun alone = RunProgram("");
    EXPECT_EQ(alone.status, 2);
    EXPECT_EQ(std::count(alone.output.begin(), alone.output.end(), '\n'), 5);
}

TEST(CommandLine, HelpManPagesAndCompletionKnowEveryOption) {
    const TempFolder folder;
    ASSERT_EQ(RunProgram("man --to " + Quoted(folder.Path())).status, 0);
    for (const char* command : {"recover", "list", "mount", "report"}) {
        const Bytes page = ReadFile(folder / ("salvor-" + std::string(command) + ".1"));
        std::string text(page.begin(), page.end());
        std::erase(text, '\\');
        std::istringstream help(RunProgram(std::string(command) + " --help").output);
        const std::string bash = RunProgram("completion bash").output;
        int options = 0;
        for (std::string word; help >> word;) {
            if (word.starts_with("--") && word.size() > 2 && std::isalpha(word.back()) != 0) {
                EXPECT_NE(text.find(word), std::string::npos) << word;
                EXPECT_NE(bash.find(word), std::string::npos) << word;
                ++options;
            }
        }
        EXPECT_GT(options, 2) << command;
    }
    const auto hasShell = [](const char* shell) {
        return RunShell(fmt::format("command -v {} >/dev/null", shell)) == 0;
    };
    for (const char* shell : {"bash", "zsh", "fish"}) {
        WriteFile(folder / shell, RunProgram("completion " + std::string(shell)).output);
    }
    for (const auto& [words, completed] : {std::pair("recover --types jpg,pho", "jpg,photos"),
                                           std::pair("report out --format cs", "csv"), std::pair("man mer", "merge")}) {
        const std::string bash = fmt::format(
            "bash -c 'complete() {{ :; }}; . \"$0\"; COMP_WORDS=(salvor {}); COMP_CWORD=$((${{#COMP_WORDS[@]}} - 1)); "
            "_salvor; test \"${{COMPREPLY[*]}}\" = {}' {}",
            words, completed, Quoted(folder / "bash"));
        EXPECT_EQ(RunShell(bash), 0) << words;
        const std::string fish =
            fmt::format("test \"$(HOME={} fish -c 'source $argv[1]; complete -C \"salvor {}\"' {} | cut -f 1)\" = {}",
                        Quoted(folder.Path()), words, Quoted(folder / "fish"), completed);
        EXPECT_EQ(hasShell("fish") ? RunShell(fish) : 0, 0) << words;
    }
    EXPECT_EQ(hasShell("zsh") ? RunShell("zsh -n " + Quoted(folder / "zsh")) : 0, 0);
}

TEST(CommandLine, TellsItsProgressToPrograms) {
    const TempFolder folder;
    const ProgramRun run = RunProgram("recover " + Card + " --quiet --progress json --out " + Quoted(folder / "out"));
    EXPECT_EQ(run.status, 0) << run.errors;
    WriteFile(folder / "progress", run.errors);
    std::map<std::string, json> last;
    for (const json& line : ReadLines(folder / "progress")) {
        last[line["progress"]] = line;
    }
    EXPECT_EQ(last.size(), 3U) << run.errors;
    for (const auto& [step, line] : last) {
        EXPECT_EQ(line["done"], line["total"]) << step;
        EXPECT_GT(line["files"], 0) << step;
    }
    EXPECT_EQ(RunProgram("recover " + Card + " --progress xml --out " + Quoted(folder / "other")).status, 2);
}

TEST(CommandLine, RedrawsLinesOnTerminalsThatCanOnly) {
    const TempFolder folder;
    for (const std::string& kind : {std::string("xterm"), std::string("dumb")}) {
        const std::string run = "'" SALVOR_PROGRAM "' recover " + Card + " --out " + Quoted(folder / kind);
        WriteFile(folder / "run", run);
        const std::string onTerminal =
            "TERM=" + kind + " script -qec " + Quoted("bash " + (folder / "run").string()) + " /dev/null >";
        ASSERT_EQ(RunShell(onTerminal + Quoted(folder / "shown")), 0);
        const Bytes shown = ReadFile(folder / "shown");
        EXPECT_EQ(std::ranges::count(shown, '\x1B') > 0, kind == "xterm");
        constexpr std::string_view word = "whole";
        EXPECT_NE(std::search(shown.begin(), shown.end(), word.begin(), word.end()), shown.end());
    }
}

TEST(CommandLine, GoesOnWhenNobodyReadsWhatItSays) {
    const TempFolder folder;
    const std::string program = "'" SALVOR_PROGRAM "' ";
    const std::string closed = "bash -c 'set -o pipefail; " + program + "recover \"" + CardImage.string() +
                               "\" --out \"" + (folder / "out").string() + "\" 2>&1 | true'";
    EXPECT_EQ(RunShell(closed), 1);
    EXPECT_GE(RecoveredFiles(folder / "out").size(), FilesOnTheCard());
    EXPECT_EQ(Summary(folder / "out")["ended"], "complete");
    EXPECT_EQ(RunShell(program + "types >/dev/full"), 1);
}

TEST(CommandLine, GoesOnWithoutStandardStreams) {
    const TempFolder folder;
    const std::string finds = Quoted(folder / "finds");
    const std::string program = "'" SALVOR_PROGRAM "' ";
    EXPECT_EQ(RunShell(program + "scan missing --report " + finds + " 2>/dev/full"), 3);
    EXPECT_EQ(RunShell(program + "scan " + Card + " --types gif,jpg --report " + finds + " <&- >&- 2>&-"), 0);
    for (const json& line : ReadLines(folder / "finds")) {
        EXPECT_TRUE(line.contains("record"));
    }
}

}  // namespace

}  // namespace salvor
