#include "host/platform/process.h"

#include <fcntl.h>
#include <grp.h>
#include <sys/prctl.h>
#include <unistd.h>
#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include <charconv>
#include <cstdlib>
#include <optional>
#include <string_view>

namespace salvor {

namespace {

std::optional<std::uint32_t> NumberIn(const char* variable) {
    const char* const value = std::getenv(variable);
    const std::string_view text = value == nullptr ? "" : value;
    std::uint32_t number = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && stop == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

// The user who called `sudo`.
std::optional<Owner> Caller() {
    const auto user = NumberIn("SUDO_UID");
    const auto group = NumberIn("SUDO_GID");
    return user && group ? std::optional(Owner{*user, *group}) : std::nullopt;
}

// If the system does not allow it, the rights stay.
void Become(const Owner& owner) {
    if (setgroups(0, nullptr) == 0 && setresgid(owner.group, owner.group, owner.group) == 0 &&
        setresuid(owner.user, owner.user, owner.user) == 0) {
        prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    }
}

}  // namespace

void KeepFreedMemory() {
#if defined(__GLIBC__)
    constexpr int mostKept = 8 << 20;
    constexpr int largestBlock = 1 << 20;
    mallopt(M_TRIM_THRESHOLD, mostKept);
    mallopt(M_MMAP_THRESHOLD, largestBlock);
#endif
}

void OccupyStandardStreams() {
    int fd = open("/dev/null", O_RDWR);
    while (fd >= 0 && fd <= STDERR_FILENO) {
        fd = open("/dev/null", O_RDWR | O_CLOEXEC);
    }
}

void GiveUpRootRights(const Folder& folder, bool isNew) {
    if (geteuid() != 0) {
        return;
    }
    const std::optional<Owner> caller = Caller();
    if (isNew && caller) {
        folder.GiveTo(*caller);
    }
    const std::optional<Owner> owner = folder.OwnerOfFolders();
    if (owner && owner->user != 0) {
        Become(*owner);
    }
}

void GiveUpRootRights() {
    constexpr std::uint32_t nobody = 65534;
    if (geteuid() == 0) {
        Become(Caller().value_or(Owner{nobody, nobody}));
    }
}

}  // namespace salvor
