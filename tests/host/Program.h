#pragma once

#include <cstddef>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <string>

#include "tests/host/TestFiles.h"

namespace salvor::test {

/// A run of the built program.
struct ProgramRun {
    int status = -1;
    std::string output;
    std::string errors;
};
/// Runs the program with these arguments through the shell, with `prefix` before the command.
ProgramRun RunProgram(const std::string& arguments, const std::string& prefix = "");

/// Runs a shell command and gives its exit status; -1 if a signal ended it.
int RunShell(const std::string& command);

/// The exit status of a shell command that runs in the folder while the program shows the files of `from` as its
/// subfolder `seen`; 0 where the system has no FUSE.
int WhileMounted(const TempFolder& folder, const std::string& from, const std::string& command);

/// The path as one word of the shell.
std::string Quoted(const std::filesystem::path& path);

/// The image of the sample card.
inline const std::filesystem::path CardImage = SALVOR_SAMPLES_DIR "/card.img";
/// Its path as one word of the shell.
inline const std::string Card = Quoted(CardImage);
/// The text between the card's files counts as text files; this option leaves it out.
inline const std::string FilesOnly = " --exclude txt ";
/// The files on the card, as samples/make-card.py lists them.
nlohmann::json CardFiles();
/// The number of files on the card other than plain text.
std::size_t FilesOnTheCard();

/// All files below a folder with their bytes, by relative path.
std::map<std::string, Bytes> FilesBelow(const std::filesystem::path& folder);
/// The recovered files only.
std::map<std::string, Bytes> RecoveredFiles(const std::filesystem::path& folder);

/// The last line of a folder's report.
nlohmann::json Summary(const std::filesystem::path& folder);

}  // namespace salvor::test
