#pragma once

#include <fmt/format.h>

#include <string>
#include <utility>

namespace salvor {

/// Writes a line for the person to stderr, behind the program's name. A stderr that cannot be written is no reason to
/// end a recovery.
void SayLine(const std::string& line);

template <class... Args>
void Say(fmt::format_string<Args...> format, Args&&... args) {
    SayLine(fmt::format(format, std::forward<Args>(args)...));
}

/// Writes text to stdout, as it is.
void Tell(const std::string& text);

/// The path as a word for the shell.
std::string ShellWord(const std::string& path);

}  // namespace salvor
