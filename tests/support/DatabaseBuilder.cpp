#include "tests/support/DatabaseBuilder.h"

#include <algorithm>

#include "documents/Rc4.h"
#include "tests/support/HelpBuilder.h"
#include "tests/support/Numbers.h"

namespace test {

namespace {

// Sets the bits of the free pages.
void MarkFree(Bytes& bytes, std::size_t bitmap, std::size_t first, std::size_t end) {
    for (std::size_t bit = first; bit < end; ++bit) {
        bytes.at(bitmap + bit / 8) |= static_cast<std::uint8_t>(1U << (bit % 8));
    }
}

void Encrypt(Bytes& file, const JetPlan& plan) {
    for (std::size_t page = 1; page < plan.pages; ++page) {
        Bytes key(4);
        PutNumber(key, 0, plan.key ^ page, 4);
        Rc4 cipher(key);
        for (std::size_t i = 0; i < plan.PageBytes(); ++i) {
            file[page * plan.PageBytes() + i] ^= cipher.Next();
        }
    }
}

void SetDataFilePage(Bytes& page, std::uint8_t type, std::uint32_t number, std::uint16_t fileId) {
    page[0] = 1;
    page[1] = type;
    PutNumber(page, 32, number, 4);
    PutNumber(page, 36, fileId, 2);
}

// The first page, with only the columns of the file header that are read.
Bytes FileHeaderPage(const DataFilePlan& plan) {
    Bytes page = Zeros(DataFilePage);
    SetDataFilePage(page, 15, 0, plan.fileId);
    PutNumber(page, 22, 1, 2);
    PutNumber(page, 24, 99, 4);
    const std::vector<std::pair<std::uint64_t, std::size_t>> columns{
        {0, 8},           {0, 0},
        {plan.fileId, 2}, {1, 2},
        {plan.pages, 4},  {0xFFFFFFFF, 4},
        {plan.growth, 4}, {0, 6},
        {0, 6},           {0, 6},
        {0, 6},           {0, 6},
        {0, 6},           {plan.growsByPercentage ? 0x100002 : 2, 4}};
    constexpr std::size_t record = 96;
    constexpr std::size_t fixedBytes = 8;
    PutNumber(page, record, 0x30, 2);
    PutNumber(page, record + 2, fixedBytes, 2);
    PutNumber(page, record + fixedBytes, columns.size() + 1, 2);
    const std::size_t ends = record + fixedBytes + 2 + 2 + 2;
    PutNumber(page, ends - 2, columns.size(), 2);
    std::size_t end = ends + 2 * columns.size();
    for (std::size_t i = 0; i < columns.size(); ++i) {
        PutNumber(page, end, columns[i].first, columns[i].second);
        end += columns[i].second;
        PutNumber(page, ends + 2 * i, end - record, 2);
    }
    return page;
}

void MarkTornPages(Bytes& page) {
    std::uint32_t saved = 0;
    for (std::size_t piece = 1; piece < 16; ++piece) {
        std::uint8_t& last = page[piece * 512 + 511];
        saved |= (last & 3U) << (2 * piece);
        last |= 3U;
    }
    PutNumber(page, 4, 0x0100, 2);
    PutNumber(page, 60, saved, 4);
}

}  // namespace

Bytes JetFile(const JetPlan& plan) {
    const std::size_t pageBytes = plan.PageBytes();
    Bytes file = Zeros(plan.pages * pageBytes);
    std::ranges::copy(BytesOf(plan.version < 2 ? "Standard Jet DB" : "Standard ACE DB"), file.begin() + 4);
    file[1] = 1;
    file[0x14] = plan.version;
    PutNumber(file, 0x3E, 0x4EBC8AFB ^ plan.key, 4);
    for (std::size_t page = 1; page < plan.pages; ++page) {
        file[page * pageBytes] = page % 2 == 0 ? 2 : 1;
        file[page * pageBytes + 1] = 1;
    }
    const std::size_t rowCount = pageBytes + (plan.version == 0 ? 8 : 12);
    const std::size_t rowBytes = plan.inlineBits == 0 ? 1 + 3 * 4 : 5 + plan.inlineBits / 8;
    const std::size_t row = 2 * pageBytes - rowBytes;
    PutNumber(file, rowCount, 1, 2);
    PutNumber(file, rowCount + 2, 0x4000 | (pageBytes - rowBytes), 2);
    if (plan.inlineBits == 0) {
        file[row] = 1;
        PutNumber(file, row + 1, 5, 4);
        PutNumber(file, row + 5, plan.lastUsed, 4);
        PutNumber(file, row + 9, 0x12345678, 4);
        PutNumber(file, 5 * pageBytes, 0x0105, 4);
        MarkFree(file, 5 * pageBytes + 4, plan.lastUsed + 1, (pageBytes - 4) * 8);
    } else {
        MarkFree(file, row + 5, plan.lastUsed + 1, plan.inlineBits);
    }
    if (plan.key != 0) {
        Encrypt(file, plan);
    }
    return file;
}

Bytes ExtentMapPage(std::uint32_t number, std::size_t extentsInUse) {
    Bytes page = Zeros(DataFilePage);
    SetDataFilePage(page, 8, number, 1);
    constexpr std::size_t row = 0xBE;
    PutNumber(page, DataFilePage - 4, row, 2);
    MarkFree(page, row + 4, extentsInUse, 63904);
    return page;
}

Bytes DataFile(const DataFilePlan& plan) {
    Bytes first = FileHeaderPage(plan);
    Bytes map = ExtentMapPage(2, plan.extentsInUse);
    PutNumber(map, 36, plan.fileId, 2);
    if (plan.hasTornPageMarks) {
        MarkTornPages(first);
        MarkTornPages(map);
    }
    Bytes space = Zeros(DataFilePage);
    Bytes shared = Zeros(DataFilePage);
    SetDataFilePage(space, 11, 1, plan.fileId);
    SetDataFilePage(shared, 9, 3, plan.fileId);
    return Join({first, space, map, shared, Zeros(20 * DataFilePage)});
}

}  // namespace test
