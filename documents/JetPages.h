#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "documents/Rc4.h"
#include "frame/read/FileWindow.h"

/// The pages of a Jet or ACE database file, plain or encrypted with the database key.
class JetPages {
public:
    static constexpr std::int64_t LargestFile = std::int64_t{1} << 31U;

    /// A key of 0 means plain pages. `pageBytes` is 2048 or 4096.
    JetPages(FileWindow& file, std::size_t pageBytes, std::uint32_t key)
        : file_(file), pageBytes_(pageBytes), key_(key) {}

    std::size_t PageBytes() const { return pageBytes_; }
    /// How many pages the largest file has.
    std::int64_t MostPages() const { return LargestFile / static_cast<std::int64_t>(pageBytes_); }

    /// A page's decrypted bytes; empty if it cannot be read. Valid until the next call of any function.
    ByteSpan Plain(std::int64_t number);

    /// What a page looks like: it begins like a database page, is all zeros, or neither.
    enum class Look { Marked, Zeros, Foreign };
    Look LookAt(std::int64_t number);

private:
    ByteSpan Stored(std::int64_t number);
    Rc4 CipherOf(std::int64_t number);

    FileWindow& file_;
    std::size_t pageBytes_;
    std::uint32_t key_;
    std::array<std::uint8_t, 4096> plain_{};
};
