#define FUSE_USE_VERSION 314

#include "host/mount/mount.h"

#include <fmt/format.h>
#include <fuse3/fuse.h>
#include <fuse3/fuse_lowlevel.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <span>
#include <system_error>
#include <thread>

#include "host/medium/extent_source.h"
#include "host/platform/stop_request.h"
#include "host/say/failure.h"
#include "host/say/size_text.h"

namespace salvor {

namespace {

// The system expects error numbers as negative values.
constexpr int NotThere = -static_cast<int>(std::errc::no_such_file_or_directory);
constexpr int ReadOnly = -static_cast<int>(std::errc::read_only_file_system);
constexpr int NoMemory = -static_cast<int>(std::errc::not_enough_memory);
constexpr int Interrupted = -static_cast<int>(std::errc::interrupted);

}  // namespace

/// Answers what the system asks of a mounted folder.
struct MountAnswers {
    static const Mount& Mounted() { return *static_cast<const Mount*>(fuse_get_context()->private_data); }

    static const Mount::File* FileAt(const char* path) {
        const FileTree::Node* const node = Mounted().tree_.Find(path);
        return node == nullptr || node->isFolder ? nullptr : &Mounted().files_[node->file];
    }

    static int Attributes(const char* path, struct stat* attributes, fuse_file_info* /*info*/) {
        if (Mounted().tree_.Find(path) == nullptr) {
            return NotThere;
        }
        *attributes = {};
        attributes->st_uid = fuse_get_context()->uid;
        attributes->st_gid = fuse_get_context()->gid;
        const Mount::File* const file = FileAt(path);
        if (file == nullptr) {
            attributes->st_mode = S_IFDIR | 0555U;
            attributes->st_nlink = 2;
            return 0;
        }
        attributes->st_mode = S_IFREG | 0444U;
        attributes->st_nlink = 1;
        attributes->st_size = file->size;
        attributes->st_mtim.tv_sec = file->modified;
        return 0;
    }

    static int Entries(const char* path, void* buffer, fuse_fill_dir_t fill, off_t /*offset*/, fuse_file_info* /*info*/,
                       fuse_readdir_flags /*flags*/) {
        const FileTree::Node* const node = Mounted().tree_.Find(path);
        if (node == nullptr || !node->isFolder) {
            return NotThere;
        }
        const auto add = [&](const char* name) {
            return fill(buffer, name, nullptr, 0, fuse_fill_dir_flags{}) == 0;
        };
        bool fits = add(".") && add("..");
        for (const auto& [name, index] : node->entries) {
            fits = fits && add(name.c_str());
        }
        return fits ? 0 : NoMemory;
    }

    static int Open(const char* path, fuse_file_info* info) {
        if (FileAt(path) == nullptr) {
            return NotThere;
        }
        return (info->flags & O_ACCMODE) == O_RDONLY ? 0 : ReadOnly;
    }

    static int Read(const char* path, char* buffer, std::size_t length, off_t offset, fuse_file_info* /*info*/) {
        const Mount::File* const file = FileAt(path);
        if (file == nullptr || offset < 0 || offset >= file->size) {
            return file == nullptr ? NotThere : 0;
        }
        const std::int64_t left = file->size - offset;
        std::vector<std::uint8_t> bytes(std::min(length, static_cast<std::size_t>(left)));
        ExtentSource source(Mounted().medium_, file->extents);
        const std::int64_t sectorSize = source.SectorSize();
        for (std::int64_t done = 0; done < std::ssize(bytes);) {
            const std::span<std::uint8_t> rest = std::span(bytes).subspan(static_cast<std::size_t>(done));
            done += static_cast<std::int64_t>(source.ReadAt(offset + done, rest.data(), rest.size()));
            // An unreadable sector follows. It is shown as zeros, as in a written file.
            done += sectorSize - (offset + done) % sectorSize;
        }
        std::ranges::copy(bytes, buffer);
        return static_cast<int>(bytes.size());
    }

    static fuse_operations Operations() {
        fuse_operations operations{};
        operations.getattr = Attributes;
        operations.readdir = Entries;
        operations.open = Open;
        operations.read = Read;
        return operations;
    }
};

namespace {

using Session = std::unique_ptr<fuse, decltype(&fuse_destroy)>;

Session MountAt(Mount& mount, const std::string& point) {
    // The library would print its own messages to standard error.
    fuse_set_log_func([](fuse_log_level, const char*, va_list) {});
    std::array<std::string, 3> words = {"salvor", "-o", "ro,nosuid,nodev,noexec,fsname=salvor,subtype=salvor"};
    std::array<char*, 3> pointers = {words[0].data(), words[1].data(), words[2].data()};
    fuse_args arguments = FUSE_ARGS_INIT(static_cast<int>(pointers.size()), pointers.data());
    const fuse_operations operations = MountAnswers::Operations();
    Session session(fuse_new(&arguments, &operations, sizeof(operations), &mount), fuse_destroy);
    fuse_opt_free_args(&arguments);
    if (!session || fuse_mount(session.get(), point.c_str()) != 0) {
        throw Failure(
            ExitStatus::NotStarted,
            fmt::format("cannot mount at '{}': the system offers no FUSE to this user; install fuse3 and load "
                        "its module, or let 'salvor extract' copy the files",
                        point));
    }
    return session;
}

// Answers requests one by one until unmounting ends the wait for the next.
void AnswerAll(fuse* session) {
    fuse_session* const channel = fuse_get_session(session);
    const std::jthread watch([channel](const std::stop_token& ended) {
        constexpr std::chrono::milliseconds interval(200);
        while (!ended.stop_requested() && !StopRequested()) {
            std::this_thread::sleep_for(interval);
        }
        fuse_session_exit(channel);
        fuse_session_unmount(channel);
    });
    fuse_buf buffer{};
    while (fuse_session_exited(channel) == 0) {
        const int length = fuse_session_receive_buf(channel, &buffer);
        if (length > 0) {
            fuse_session_process_buf(channel, &buffer);
        } else if (length != Interrupted) {
            break;
        }
    }
    std::free(buffer.mem);  // NOLINT(cppcoreguidelines-no-malloc): the library allocates it so
}

}  // namespace

bool Mount::Add(const ReportedFile& file) {
    std::int64_t bytes = 0;
    for (const Extent& extent : file.extents) {
        const bool begins = extent.startSector >= 0 && extent.startSector < medium_.SectorCount();
        const bool isThere =
            begins && extent.bytes <= medium_.SizeInBytes() - extent.startSector * medium_.SectorSize();
        if (!isThere && !extent.IsHole()) {
            return false;
        }
        bytes = AddSizes(bytes, extent.bytes);
    }
    if (bytes != file.size) {
        return false;
    }
    tree_.Add(file);
    files_.push_back({file.extents, file.size, file.original.modified.value_or(0)});
    return true;
}

void Mount::Serve(const std::string& point, const std::function<void()>& started) {
    const Session session = MountAt(*this, point);
    started();
    AnswerAll(session.get());
}

}  // namespace salvor
