#include "host/details/previews.h"

#include <fmt/format.h>

#include <algorithm>

namespace salvor {

std::string Previews::Keep(const PlannedFile& file, const FileDetails& details,
                           const std::vector<std::uint8_t>& preview) {
    // A folder full of raws may have some gigabytes of them.
    constexpr std::int64_t mostBytes = std::int64_t{1} << 30;
    if (!AreKept() || RefusalOf(details, filter_) || bytes_ + std::ssize(preview) > mostBytes) {
        return "";
    }
    const Folder previews = folder_->Below(PreviewFolder, /*make=*/true);
    if (!previews.IsOpen()) {
        return "";
    }
    std::string name = file.path + ".jpg";
    std::ranges::replace(name, '/', '-');
    File written = previews.Create(name);
    if (written.IsOpen() && written.Write(preview.data(), preview.size()) && written.Close()) {
        bytes_ += std::ssize(preview);
        return fmt::format("{}/{}", PreviewFolder, name);
    }
    previews.Remove(name);
    return "";
}

}  // namespace salvor
