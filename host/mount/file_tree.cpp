#include "host/mount/file_tree.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/say/say.h"

namespace salvor {

namespace {

constexpr std::size_t LongestName = 255;

// Cuts the name at a character boundary of UTF-8.
std::string CutTo(std::string name, std::size_t length) {
    while (name.size() > length) {
        const auto isContinued = [&name] {
            return (static_cast<unsigned char>(name.back()) & 0xC0U) == 0x80U;
        };
        while (name.size() > 1 && isContinued()) {
            name.pop_back();
        }
        name.pop_back();
    }
    return name;
}

std::string Harmless(std::string_view name) {
    const std::string printable = Printable(name);
    return CutTo(name == "." || name == ".." ? "_" + printable : printable, LongestName);
}

// Takes the first part off a path.
std::string_view TakePart(std::string_view& path) {
    path.remove_prefix(std::min(path.find_first_not_of('/'), path.size()));
    const std::string_view part = path.substr(0, path.find('/'));
    path.remove_prefix(part.size());
    path.remove_prefix(std::min(path.find_first_not_of('/'), path.size()));
    return part;
}

}  // namespace

void FileTree::Add(const ReportedFile& file) {
    AddPath(FolderIn(0, "type"), file.path);
    if (!file.original.path.empty()) {
        AddPath(FolderIn(0, "name"), file.original.path);
    }
    ++files_;
}

// If a file has the folder's name already, the folder gets another one.
std::size_t FileTree::FolderIn(std::size_t parent, const std::string& name) {
    for (int number = 1;; ++number) {
        const std::string numbered = number == 1 ? name : fmt::format("{}~{}", CutTo(name, LongestName - 12), number);
        const auto found = nodes_[parent].entries.find(numbered);
        if (found == nodes_[parent].entries.end()) {
            nodes_.emplace_back();
            nodes_[parent].entries.emplace(numbered, nodes_.size() - 1);
            return nodes_.size() - 1;
        }
        if (nodes_[found->second].isFolder) {
            return found->second;
        }
    }
}

void FileTree::AddPath(std::size_t folder, std::string_view path) {
    // Deeper nesting than any user would make is flattened into one folder.
    constexpr int deepest = 64;
    std::string_view part = TakePart(path);
    for (int depth = 0; !path.empty(); ++depth) {
        folder = depth < deepest ? FolderIn(folder, Harmless(part)) : folder;
        part = TakePart(path);
    }
    std::string name = Harmless(part.empty() ? "_" : part);
    if (nodes_[folder].entries.contains(name)) {
        // The file's number is unique.
        name = fmt::format("{}~{}", CutTo(name, LongestName - 24), files_);
    }
    if (nodes_[folder].entries.emplace(name, nodes_.size()).second) {
        nodes_.push_back({false, files_, {}});
    }
}

const FileTree::Node* FileTree::Find(std::string_view path) const {
    const Node* node = &nodes_.front();
    for (std::string_view part = TakePart(path); !part.empty(); part = TakePart(path)) {
        const auto entry = node->entries.find(part);
        if (entry == node->entries.end()) {
            return nullptr;
        }
        node = &nodes_[entry->second];
    }
    return node;
}

}  // namespace salvor
