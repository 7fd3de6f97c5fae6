#include "documents/JetPages.h"

#include <algorithm>

namespace {

// Data, table, two kinds of index, usage map, and two of freed pages and long values.
bool IsPageType(std::uint8_t type) { return (type >= 1 && type <= 5) || type == 8 || type == 9; }

// The cost of decrypting a byte and of setting up the cipher, counted in bytes read.
constexpr std::int64_t CipherByteWork = 16;
constexpr std::int64_t CipherKeyWork = 0x1000;

bool IsZeros(ByteSpan bytes) {
    return std::ranges::all_of(bytes, [](std::uint8_t byte) { return byte == 0; });
}

}  // namespace

ByteSpan JetPages::Plain(std::int64_t number) {
    const ByteSpan stored = Stored(number);
    if (key_ == 0 || stored.empty()) {
        return stored;
    }
    file_.Charge(CipherByteWork * static_cast<std::int64_t>(pageBytes_));
    Rc4 cipher = CipherOf(number);
    std::ranges::transform(stored, plain_.begin(),
                           [&](std::uint8_t byte) { return static_cast<std::uint8_t>(byte ^ cipher.Next()); });
    return ByteSpan(plain_).first(pageBytes_);
}

JetPages::Look JetPages::LookAt(std::int64_t number) {
    const ByteSpan stored = Stored(number);
    if (stored.empty()) {
        return Look::Foreign;
    }
    std::uint8_t type = stored[0];
    std::uint8_t mark = stored[1];
    if (key_ != 0) {
        // Two bytes are enough, so the rest of the page need not be decrypted.
        Rc4 cipher = CipherOf(number);
        type ^= cipher.Next();
        mark ^= cipher.Next();
    }
    if (mark == 1 && IsPageType(type)) {
        return Look::Marked;
    }
    // A page that was never written is stored as zeros; one that was written empty decrypts to zeros.
    const bool isZeros = IsZeros(stored) || (key_ != 0 && type == 0 && IsZeros(Plain(number)));
    return isZeros ? Look::Zeros : Look::Foreign;
}

ByteSpan JetPages::Stored(std::int64_t number) {
    const std::int64_t offset = number * static_cast<std::int64_t>(pageBytes_);
    // Pieces are aligned to their length, so that backward walks read each piece once too.
    file_.From(offset - offset % static_cast<std::int64_t>(FileWindow::PieceBytes), FileWindow::PieceBytes);
    return file_.At(offset, pageBytes_);
}

Rc4 JetPages::CipherOf(std::int64_t number) {
    file_.Charge(CipherKeyWork);
    std::array<std::uint8_t, 4> bytes{};
    std::uint32_t pageKey = key_ ^ static_cast<std::uint32_t>(number);
    for (std::uint8_t& byte : bytes) {
        byte = static_cast<std::uint8_t>(pageKey);
        pageKey >>= 8U;
    }
    return Rc4(bytes);
}
