#include <algorithm>
#include <string>
#include <vector>

#include "frame/contract/FileTypeCatalog.h"
#include "host/validators/broken.h"
#include "host/validators/crc32.h"
#include "host/validators/validator.h"

namespace salvor {

namespace {

using namespace std::string_view_literals;

// The offsets of fields in files with 32-bit and with 64-bit offsets. Source: [MS-PST], section 2.2.
struct Layout {
    // The bytes of an offset or of a block's number.
    std::size_t width;
    // In the header: the file's size, and the offsets of both trees' roots.
    std::size_t fileEnd;
    std::size_t nodeTree;
    std::size_t blockTree;
    // In a page: number and length of the entries, the level, the trailer and the length that its checksum covers.
    std::size_t entryCount;
    std::size_t pageCrc;
    std::size_t pageBytes;
    // In a leaf entry of the block tree: offset, and length of the data.
    std::size_t blockOffset;
    std::size_t blockLength;
    std::size_t leastEntry;
    // The length of the trailer after a block's data, and the offset of its checksum.
    std::size_t blockTrailer;
    std::size_t blockCrc;
};
constexpr Layout Short{4, 168, 188, 196, 496, 508, 500, 4, 8, 12, 12, 8};
constexpr Layout Wide{8, 184, 224, 240, 488, 500, 496, 8, 16, 24, 16, 4};

constexpr std::size_t HeaderBytes = 564;
constexpr std::size_t Version = 10;
constexpr std::size_t Client = 8;
constexpr std::size_t PageBytes = 512;
constexpr std::uint8_t BlockPage = 0x80;
constexpr std::uint8_t NodePage = 0x81;
// From this version on pages have 4 KiB: cached mailboxes since 2013.
constexpr std::uint16_t LargePages = 36;

bool Begins(ByteSpan head) {
    static constexpr auto mark = PatternOf("!BDN");
    if (head.size() < 512 || !StartsWith(head, mark)) {
        return false;
    }
    const auto version = LoadLittle<std::uint16_t>(head, Version);
    return (version == 14 || version == 15 || version == 21 || version == 23 || version == LargePages) &&
           (head[Client] == 'S' || head[Client] == 'A');
}

std::int64_t Number(ByteSpan bytes, std::size_t at, std::size_t width) {
    constexpr std::uint64_t most = std::uint64_t{1} << 60U;
    return width == 4 ? std::int64_t{LoadLittle<std::uint32_t>(bytes, at)}
                      : static_cast<std::int64_t>(std::min(LoadLittle<std::uint64_t>(bytes, at), most));
}

// Both trees of pages, and the blocks that one of them lists.
class Trees {
public:
    Trees(Place& file, const Layout& layout, std::int64_t end)
        : file_(file), layout_(layout), end_(std::min(end, file.Limit())) {}

    /// The offset of the first fault, or -1.
    std::int64_t FirstFault(std::int64_t root, std::uint8_t kind) {
        constexpr int deepest = 16;
        std::vector<Visit> waiting{{root, deepest}};
        std::int64_t pages = 0;
        while (!waiting.empty()) {
            const Visit visit = waiting.back();
            waiting.pop_back();
            // A tree with more pages than the file must share pages or loop.
            const std::int64_t mostPages = end_ / static_cast<std::int64_t>(PageBytes);
            if (++pages > mostPages || std::ssize(waiting) > mostPages || !TakePage(visit, kind, waiting)) {
                return visit.page;
            }
        }
        return CheckBlocks();
    }

private:
    struct Visit {
        std::int64_t page;
        // Children have lower levels.
        int level;
    };
    struct Block {
        std::int64_t offset;
        std::size_t length;
    };

    bool TakePage(const Visit& visit, std::uint8_t kind, std::vector<Visit>& waiting) {
        const ByteSpan page = visit.page < end_ ? file_.At(visit.page, PageBytes) : ByteSpan();
        if (page.empty() || page[layout_.pageBytes] != kind || page[layout_.pageBytes + 1] != kind ||
            PlainCrc32Of(page.first(layout_.pageBytes)) != LoadLittle<std::uint32_t>(page, layout_.pageCrc)) {
            return false;
        }
        const std::size_t count = page[layout_.entryCount];
        const std::size_t length = page[layout_.entryCount + 2];
        const int level = page[layout_.entryCount + 3];
        if (level >= visit.level || length < layout_.leastEntry || count * length > layout_.entryCount) {
            return false;
        }
        for (std::size_t i = 0; i < count; ++i) {
            const std::size_t entry = i * length;
            if (level > 0) {
                // A key, the page's number, its offset.
                waiting.push_back({Number(page, entry + 2 * layout_.width, layout_.width), level});
            } else if (kind == BlockPage) {
                blocks_.push_back({Number(page, entry + layout_.blockOffset, layout_.width),
                                   LoadLittle<std::uint16_t>(page, entry + layout_.blockLength)});
            }
        }
        return true;
    }

    std::int64_t CheckBlocks() {
        std::ranges::sort(blocks_, {}, &Block::offset);
        for (const Block& block : blocks_) {
            if (!IsBlockRight(block)) {
                return block.offset;
            }
        }
        return -1;
    }

    // Data and trailer fill a multiple of 64 bytes; the trailer repeats the length and holds the data's checksum.
    bool IsBlockRight(const Block& block) {
        const std::size_t whole = (block.length + layout_.blockTrailer + 63) / 64 * 64;
        const ByteSpan bytes =
            block.offset < end_ && whole <= ByteWindow::PieceBytes ? file_.At(block.offset, whole) : ByteSpan();
        if (bytes.empty()) {
            return false;
        }
        const ByteSpan trailer = bytes.subspan(whole - layout_.blockTrailer);
        return LoadLittle<std::uint16_t>(trailer, 0) == block.length &&
               LoadLittle<std::uint32_t>(trailer, layout_.blockCrc) == PlainCrc32Of(bytes.first(block.length));
    }

    Place& file_;
    const Layout& layout_;
    std::int64_t end_;
    std::vector<Block> blocks_;
};

Finding Validate(Place& file) {
    const ByteSpan shown = file.At(0, HeaderBytes);
    if (shown.empty()) {
        return {.why = "its header is cut"};
    }
    const std::vector<std::uint8_t> header(shown.begin(), shown.end());
    const auto version = LoadLittle<std::uint16_t>(header, Version);
    const Layout& layout = version < 16 ? Short : Wide;
    const char* const extension = header[Client] == 'A' ? "pab" : header[Client + 1] == 'O' ? "ost" : "";
    const std::int64_t end = Number(header, layout.fileEnd, layout.width);
    if (end < static_cast<std::int64_t>(HeaderBytes)) {
        return {.why = "its header is damaged"};
    }
    const auto finding = [&](Finding result) {
        result.extension = extension;
        return result;
    };
    if (end > file.Limit()) {
        return finding(BrokenAt(file, file.Limit(), end, FileTypeIndex::Pst, "the file"));
    }
    if (version == LargePages) {
        return finding({Verdict::Open, end, FileTypeIndex::Pst, {}, "the end that its header tells"});
    }
    Trees trees(file, layout, end);
    for (const auto& [root, kind] : {std::pair(layout.blockTree, BlockPage), std::pair(layout.nodeTree, NodePage)}) {
        const std::int64_t fault = trees.FirstFault(Number(header, root, layout.width), kind);
        if (fault >= 0) {
            return finding({Verdict::Damaged, end, FileTypeIndex::Pst, {}, "damaged at byte " + std::to_string(fault)});
        }
    }
    return finding({Verdict::Whole, end, FileTypeIndex::Pst, {}, "both trees of pages and all blocks"});
}

constexpr StartSignature Starts[] = {{"!BDN"sv}};

constexpr std::int32_t Types[] = {FileTypeIndex::Pst};

}  // namespace

extern const Validator PstValidator;
const Validator PstValidator{.name = "pst", .starts = Starts, .begins = Begins, .validate = Validate, .types = Types};

}  // namespace salvor
