#include "host/app/say.h"

#include <cstdio>
#include <string_view>

namespace salvor {

void SayLine(const std::string& line) {
    std::fputs(("salvor: " + line + '\n').c_str(), stderr);
    std::fflush(stderr);
}

void Tell(const std::string& text) {
    std::fputs(text.c_str(), stdout);
    std::fflush(stdout);
}

std::string ShellWord(const std::string& path) {
    constexpr std::string_view plain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/._-+:,@%=";
    if (!path.empty() && path.find_first_not_of(plain) == std::string::npos) {
        return path;
    }
    std::string word = "'";
    for (const char letter : path) {
        word += letter == '\'' ? std::string("'\\''") : std::string(1, letter);
    }
    return word + "'";
}

}  // namespace salvor
