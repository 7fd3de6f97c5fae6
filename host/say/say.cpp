#include "host/say/say.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <string_view>

#include "host/platform/terminal.h"

namespace salvor {

namespace {

bool outputFailed = false;

// Bytes of the UTF-8 character at the start of the text; 0 if there is none or it must not be shown.
std::size_t LetterBytes(std::string_view text) {
    const auto byte = [text](std::size_t i) -> unsigned {
        return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
    };
    const unsigned first = byte(0);
    if (first < 0x80) {
        return first >= 0x20 && first != 0x7F ? 1 : 0;
    }
    const std::size_t length = first >= 0xF0 ? 4 : (first >= 0xE0 ? 3 : 2);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0U) != 0x80) {
            return 0;
        }
    }
    // Overlong forms do not count, so C2 80 to C2 9F are the only control characters beyond ASCII.
    const bool isControl = first < 0xC2 || first > 0xF4 || (first == 0xC2 && byte(1) < 0xA0);
    const bool isLonger = (first == 0xE0 && byte(1) < 0xA0) || (first == 0xF0 && byte(1) < 0x90);
    return isControl || isLonger ? 0 : length;
}

std::string Styled(const std::string& text, int style, PersonStream stream) {
    return ShowsColours(stream) ? fmt::format("\x1B[{}m{}\x1B[0m", style, text) : text;
}

}  // namespace

std::string Printable(std::string_view text) {
    std::string printable;
    while (!text.empty()) {
        const std::size_t length = LetterBytes(text);
        if (length == 0) {
            printable += fmt::format("\\x{:02x}", static_cast<unsigned char>(text.front()));
        } else {
            printable += text.substr(0, length);
        }
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return printable;
}

std::string Bold(const std::string& text) { return Styled(text, 1, PersonStream::Output); }

std::string Coloured(const std::string& text, Colour colour) {
    return Styled(text, static_cast<int>(colour), PersonStream::Output);
}

void SayLine(const std::string& line) {
    const std::string name = Styled("salvor:", 1, PersonStream::Error);
    std::fputs((name + " " + Printable(line) + '\n').c_str(), stderr);
    std::fflush(stderr);
}

void Tell(const std::string& text) {
    outputFailed = std::fputs(text.c_str(), stdout) < 0 || outputFailed;
    outputFailed = std::fflush(stdout) != 0 || outputFailed;
}

bool OutputFailed() { return outputFailed; }

std::string ShellWord(const std::string& path) {
    constexpr std::string_view plain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/._-+:,@%=";
    if (!path.empty() && path.find_first_not_of(plain) == std::string::npos) {
        return path;
    }
    // Only quotes of the form $'...' have printable escapes for control characters.
    const bool isPrintable = Printable(path) == path;
    std::string word;
    for (const char letter : path) {
        if (letter == '\'') {
            word += isPrintable ? "'\\''" : "\\'";
        } else if (letter == '\\' && !isPrintable) {
            word += "\\\\";
        } else {
            word += letter;
        }
    }
    return (isPrintable ? "'" : "$'") + Printable(word) + "'";
}

}  // namespace salvor
