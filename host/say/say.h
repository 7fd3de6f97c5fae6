#pragma once

#include <fmt/format.h>

#include <string>
#include <string_view>
#include <utility>

namespace salvor {

/// The text as a terminal may show it: control characters and bytes that are no UTF-8 become "\xNN".
std::string Printable(std::string_view text);

/// Writes a line for the person to stderr, behind the program's name and made printable. A stderr that cannot be
/// written is no reason to end a recovery.
void SayLine(const std::string& line);

template <class... Args>
void Say(fmt::format_string<Args...> format, Args&&... args) {
    SayLine(fmt::format(format, std::forward<Args>(args)...));
}

enum class Colour { Red = 31, Green = 32, Yellow = 33 };

// The text for stdout, bold or coloured where a terminal shows it.
std::string Bold(const std::string& text);
std::string Coloured(const std::string& text, Colour colour);

/// Writes text to stdout, as it is.
void Tell(const std::string& text);

/// Something that was told did not reach stdout.
bool OutputFailed();

/// The path as a word for the shell.
std::string ShellWord(const std::string& path);

}  // namespace salvor
