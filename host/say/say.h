#pragma once

#include <fmt/format.h>

#include <string>
#include <string_view>
#include <utility>

namespace salvor {

/// The text as a terminal may show it: control characters and bytes that are not UTF-8 become "\xNN".
std::string Printable(std::string_view text);

/// Writes a line for the user to stderr, after the program's name and made printable. If stderr cannot be written, the
/// recovery goes on.
void SayLine(const std::string& line);

template <class... Args>
void Say(fmt::format_string<Args...> format, Args&&... args) {
    SayLine(fmt::format(format, std::forward<Args>(args)...));
}

enum class Colour { Red = 31, Green = 32, Yellow = 33 };

// The text for stdout, bold or coloured if the terminal shows that.
std::string Bold(const std::string& text);
std::string Coloured(const std::string& text, Colour colour);

/// Writes text to stdout, unchanged.
void Tell(const std::string& text);

/// True if some output did not reach stdout.
bool OutputFailed();

/// The path, quoted for the shell.
std::string ShellWord(const std::string& path);

}  // namespace salvor
