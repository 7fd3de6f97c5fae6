#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "host/report/report_reader.h"

namespace salvor {

/// The folders in which mounted files appear: `type/jpg/f0000000072.jpg` and, if the file system still knows it,
/// `name/DCIM/100/IMG_0001.JPG`. Names from a medium are made harmless: none is "." or "..", has a slash or a control
/// character, is longer than 255 bytes, or equals another entry's.
class FileTree {
public:
    /// An entry: a folder, or a file by its index in the order of `Add`.
    struct Node {
        bool isFolder = true;
        std::size_t file = 0;
        /// By name.
        std::map<std::string, std::size_t, std::less<>> entries;
    };

    FileTree() : nodes_(1) {}

    /// Adds the entries of a file.
    void Add(const ReportedFile& file);

    /// The entry of a path such as "/type/jpg"; null if there is none.
    const Node* Find(std::string_view path) const;
    const Node& At(std::size_t index) const { return nodes_[index]; }

private:
    std::size_t FolderIn(std::size_t parent, const std::string& name);
    void AddPath(std::size_t folder, std::string_view path);

    // The root is first.
    std::vector<Node> nodes_;
    std::size_t files_ = 0;
};

}  // namespace salvor
