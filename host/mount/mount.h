#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "host/medium/extent.h"
#include "host/medium/medium.h"
#include "host/mount/file_tree.h"
#include "host/report/report_reader.h"

namespace salvor {

/// Files of a medium, shown in a read-only folder without a copy: their bytes are read from the medium.
class Mount {
public:
    /// The medium outlives this.
    explicit Mount(Medium& medium) : medium_(medium) {}

    /// Adds a file; false, without adding it, if it is not on the medium.
    bool Add(const ReportedFile& file);

    /// Shows the files in the folder `point` until it is unmounted or a stop is requested; calls `started` once they
    /// can be seen. Throws `Failure` (not started) if mounting is not possible.
    void Serve(const std::string& point, const std::function<void()>& started);

private:
    friend struct MountAnswers;

    struct File {
        std::vector<Extent> extents;
        std::int64_t size = 0;
        /// Seconds since 1970.
        std::int64_t modified = 0;
    };

    Medium& medium_;
    FileTree tree_;
    /// By the tree's index.
    std::vector<File> files_;
};

}  // namespace salvor
