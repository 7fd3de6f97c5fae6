#include "host/platform/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>

namespace salvor {

namespace {

bool IsCapableTerminal(int fd) {
    const char* const kind = std::getenv("TERM");
    return isatty(fd) == 1 && kind != nullptr && std::string_view(kind) != "dumb";
}

}  // namespace

bool ShowsColours(PersonStream stream) {
    const char* const refused = std::getenv("NO_COLOR");
    return (refused == nullptr || *refused == '\0') &&
           IsCapableTerminal(stream == PersonStream::Output ? STDOUT_FILENO : STDERR_FILENO);
}

bool CanRedrawLine() { return IsCapableTerminal(STDERR_FILENO); }

std::size_t TerminalColumns() {
    winsize size{};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1 ? size.ws_col - 1U : 79U;
}

}  // namespace salvor
