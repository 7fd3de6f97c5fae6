#include "tests/host/Program.h"

#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>

namespace salvor::test {

namespace fs = std::filesystem;
using nlohmann::json;

ProgramRun RunProgram(const std::string& arguments, const std::string& prefix) {
    const TempFolder folder;
    const int status = RunShell(prefix + " '" SALVOR_PROGRAM "' " + arguments + " >" + Quoted(folder / "out") + " 2>" +
                                Quoted(folder / "err"));
    const Bytes output = ReadFile(folder / "out");
    const Bytes errors = ReadFile(folder / "err");
    return {status, {output.begin(), output.end()}, {errors.begin(), errors.end()}};
}

int RunShell(const std::string& command) {
    const int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int WhileMounted(const TempFolder& folder, const std::string& from, const std::string& command) {
    if (RunShell("command -v fusermount3 >/dev/null && test -r /dev/fuse -a -w /dev/fuse") != 0) {
        return 0;
    }
    fs::create_directory(folder / "seen");
    WriteFile(folder / "script", "cd " + Quoted(folder.Path()) + "; '" SALVOR_PROGRAM "' mount " + Quoted(from) +
                                     " seen > /dev/null & for i in $(seq 100); do test -e seen/type && break; "
                                     "sleep 0.1; done; " +
                                     command + "; status=$?; kill -INT %1; wait; exit $status");
    const int status = RunShell("bash -m " + Quoted(folder / "script"));
    return fs::is_empty(folder / "seen") ? status : -1;
}

std::string Quoted(const fs::path& path) { return "'" + path.string() + "'"; }

json CardFiles() {
    const Bytes list = ReadFile(SALVOR_SAMPLES_DIR "/card.list.json");
    return json::parse(list.begin(), list.end())["files"];
}

std::size_t FilesOnTheCard() {
    const json files = CardFiles();
    return static_cast<std::size_t>(
        std::ranges::count_if(files, [](const json& file) { return file["extension"] != "txt"; }));
}

std::map<std::string, Bytes> FilesBelow(const fs::path& folder) {
    std::map<std::string, Bytes> files;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        if (entry.is_regular_file()) {
            files[fs::relative(entry.path(), folder).string()] = ReadFile(entry.path());
        }
    }
    return files;
}

std::map<std::string, Bytes> RecoveredFiles(const fs::path& folder) {
    std::map<std::string, Bytes> files = FilesBelow(folder);
    std::erase_if(files, [](const auto& file) { return file.first.find('/') == std::string::npos; });
    return files;
}

json Summary(const fs::path& folder) { return ReadLines(folder / "report.jsonl").back(); }

}  // namespace salvor::test
