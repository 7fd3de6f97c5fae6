#include "host/validators/images/jpeg_file.h"

#include <algorithm>
#include <array>

#include "frame/bytes/FieldReader.h"
#include "host/validators/images/jpeg_scan.h"

namespace salvor {

namespace {

constexpr std::uint8_t Prefix = 0xFF;

namespace marker {
constexpr std::uint8_t Temporary = 0x01;
constexpr std::uint8_t BaselineFrame = 0xC0;
constexpr std::uint8_t ExtendedFrame = 0xC1;
constexpr std::uint8_t ProgressiveFrame = 0xC2;
constexpr std::uint8_t HuffmanTables = 0xC4;
constexpr std::uint8_t ReservedFrame = 0xC8;
constexpr std::uint8_t ArithmeticTables = 0xCC;
constexpr std::uint8_t LastFrame = 0xCF;
constexpr std::uint8_t FirstRestart = 0xD0;
constexpr std::uint8_t LastRestart = 0xD7;
constexpr std::uint8_t StartOfImage = 0xD8;
constexpr std::uint8_t EndOfImage = 0xD9;
constexpr std::uint8_t StartOfScan = 0xDA;
constexpr std::uint8_t QuantizationTables = 0xDB;
constexpr std::uint8_t RestartInterval = 0xDD;
constexpr std::uint8_t LastHierarchic = 0xDF;
constexpr std::uint8_t FirstApplication = 0xE0;
constexpr std::uint8_t Exif = 0xE1;
constexpr std::uint8_t MultiPicture = 0xE2;
constexpr std::uint8_t LastApplication = 0xEF;
constexpr std::uint8_t LosslessFrame = 0xF7;
constexpr std::uint8_t LosslessParameters = 0xF8;
constexpr std::uint8_t Comment = 0xFE;
}  // namespace marker

constexpr auto MultiPictureMark = PatternOf("MPF\0");
constexpr auto ExifMark = PatternOf("Exif\0");
constexpr auto MetadataMark = PatternOf("http://ns.adobe.com/xap/1.0/\0");

// Segments have up to 64 KiB, so this is more than the largest files need.
constexpr int MostSegments = 100000;
// At most this many blocks of 8 by 8 samples are tracked for a progressive picture: 32 MiB.
constexpr std::int64_t MostBlocks = std::int64_t{1} << 22U;

bool IsFrame(std::uint8_t code) {
    return code >= marker::BaselineFrame && code <= marker::LastFrame && code != marker::HuffmanTables &&
           code != marker::ReservedFrame && code != marker::ArithmeticTables;
}

// True for markers that are followed by a length.
bool IsSegment(std::uint8_t code) {
    return IsFrame(code) || code == marker::HuffmanTables || code == marker::ArithmeticTables ||
           (code >= marker::StartOfScan && code <= marker::LastHierarchic) ||
           (code >= marker::FirstApplication && code <= marker::LastApplication) || code == marker::LosslessFrame ||
           code == marker::LosslessParameters || code == marker::Comment;
}

bool MayBeFirst(std::uint8_t code) {
    return (code >= marker::FirstApplication && code <= marker::LastApplication) || code == marker::Comment ||
           code == marker::QuantizationTables || code == marker::HuffmanTables || code == marker::RestartInterval ||
           code == marker::ArithmeticTables || IsFrame(code) || code == marker::LosslessFrame;
}

class Walk {
public:
    Walk(ByteWindow& file, std::int64_t start) : file_(file), at_(start + 2) {}

    JpegWalk Take() {
        for (int segments = 0; segments < MostSegments && TakeMarker(); ++segments) {
        }
        walk_.size = std::min(at_, file_.Limit());
        return std::move(walk_);
    }

private:
    bool StopAt(JpegWalk::End end) {
        walk_.end = end;
        return false;
    }

    bool TakeMarker() {
        ByteSpan bytes = file_.At(at_, 2);
        // Any number of fill bytes may come before a marker.
        std::int64_t code = at_ + 1;
        for (int fill = 0; fill < 0x10000 && !bytes.empty() && bytes[0] == Prefix && bytes[1] == Prefix; ++fill) {
            bytes = file_.At(code++, 2);
        }
        if (bytes.empty()) {
            return StopAt(JpegWalk::End::Limit);
        }
        if (bytes[0] != Prefix) {
            return StopAt(JpegWalk::End::NoMarker);
        }
        const std::uint8_t kind = bytes[1];
        if (kind == marker::EndOfImage && walk_.hasPicture) {
            at_ = code + 1;
            return StopAt(JpegWalk::End::Marker);
        }
        if (kind == marker::Temporary ||
            (walk_.hasPicture && kind >= marker::FirstRestart && kind <= marker::LastRestart)) {
            at_ = code + 1;
            return true;
        }
        return IsSegment(kind) ? TakeSegment(kind, code + 1) : StopAt(JpegWalk::End::NoMarker);
    }

    bool TakeSegment(std::uint8_t kind, std::int64_t start) {
        const ByteSpan length = file_.At(start, 2);
        const std::int64_t end = length.empty() ? 0 : start + LoadBig<std::uint16_t>(length, 0);
        if (length.empty() || end > file_.Limit()) {
            return StopAt(JpegWalk::End::Limit);
        }
        if (end < start + 2) {
            return StopAt(JpegWalk::End::NoMarker);
        }
        std::vector<std::uint8_t> content(static_cast<std::size_t>(end - start - 2));
        if (!file_.Copy(start + 2, content)) {
            return StopAt(JpegWalk::End::Limit);
        }
        if (kind == marker::StartOfScan) {
            if (!hasFrame_) {
                return StopAt(JpegWalk::End::NoMarker);
            }
            TakeScan(content, end);
            return true;
        }
        if (kind == marker::LosslessFrame || IsFrame(kind)) {
            if (!TakeFrame(kind, content)) {
                return StopAt(JpegWalk::End::NoMarker);
            }
        } else {
            TakeTables(kind, content);
            TakeApplication(kind, content, start + 2);
        }
        walk_.segments += walk_.hasPicture ? 0 : 1;
        at_ = end;
        return true;
    }

    bool TakeFrame(std::uint8_t kind, ByteSpan content) {
        constexpr std::size_t headBytes = 6;
        constexpr std::size_t componentBytes = 3;
        if (content.size() < headBytes + componentBytes) {
            return false;
        }
        const std::uint8_t precision = content[0];
        const std::int64_t height = LoadBig<std::uint16_t>(content, 1);
        const std::int64_t width = LoadBig<std::uint16_t>(content, 3);
        const std::size_t count = content[5];
        if (precision < 2 || precision > 16 || width == 0 || count == 0 || count > JpegScan::MostParts ||
            content.size() < headBytes + count * componentBytes) {
            return false;
        }
        hasFrame_ = true;
        frame_ = {};
        frame_.isProgressive = kind == marker::ProgressiveFrame;
        frame_.precision = precision;
        // The height may be declared after the first scan.
        isDecodable_ = height != 0 && (kind == marker::BaselineFrame || kind == marker::ExtendedFrame ||
                                       kind == marker::ProgressiveFrame);
        std::int64_t most[2] = {1, 1};
        for (std::size_t i = 0; i < count; ++i) {
            const ByteSpan bytes = content.subspan(headBytes + i * componentBytes);
            JpegComponent component;
            component.id = bytes[0];
            component.horizontal = bytes[1] >> 4U;
            component.vertical = bytes[1] & 15U;
            component.quantization = bytes[2] & 3U;
            if (component.horizontal < 1 || component.horizontal > 4 || component.vertical < 1 ||
                component.vertical > 4) {
                return false;
            }
            most[0] = std::max<std::int64_t>(most[0], component.horizontal);
            most[1] = std::max<std::int64_t>(most[1], component.vertical);
            frame_.components.push_back(component);
        }
        const auto divided = [](std::int64_t number, std::int64_t by) {
            return (number + by - 1) / by;
        };
        frame_.unitsAcross = divided(width, most[0] * 8);
        frame_.unitsDown = divided(height, most[1] * 8);
        for (JpegComponent& component : frame_.components) {
            component.width = divided(divided(width * component.horizontal, most[0]), 8);
            component.height = divided(divided(height * component.vertical, most[1]), 8);
            component.paddedWidth = frame_.unitsAcross * component.horizontal;
            component.paddedHeight = frame_.unitsDown * component.vertical;
        }
        return true;
    }

    void TakeTables(std::uint8_t kind, ByteSpan content) {
        constexpr std::size_t headBytes = 17;
        if (kind == marker::RestartInterval && content.size() >= 2) {
            restartInterval_ = LoadBig<std::uint16_t>(content, 0);
        }
        if (kind == marker::QuantizationTables) {
            TakeQuantization(content);
        }
        while (kind == marker::HuffmanTables && content.size() >= headBytes) {
            const std::size_t slot = content[0] & 3U;
            const bool isAc = (content[0] >> 4U) != 0;
            std::size_t count = 0;
            for (const std::uint8_t codes : content.subspan(1, 16)) {
                count += codes;
            }
            count = std::min(count, content.size() - headBytes);
            (isAc ? ac_ : dc_)[slot].Define(content.subspan(1, 16), content.subspan(headBytes, count));
            content = content.subspan(headBytes + count);
        }
    }

    void TakeQuantization(ByteSpan content) {
        constexpr std::size_t steps = 64;
        while (!content.empty()) {
            const std::size_t width = (content[0] >> 4U) != 0 ? 2 : 1;
            if (content.size() < 1 + steps * width) {
                break;
            }
            firstSteps_[content[0] & 3U] = width == 2 ? LoadBig<std::uint16_t>(content, 1) : content[1];
            content = content.subspan(1 + steps * width);
        }
    }

    // 64 samples that are all black or all white give eight times half the range of a sample. Encoders round.
    std::int64_t LargestFirst(const JpegComponent& component) const {
        const std::int64_t step = firstSteps_[component.quantization];
        return step == 0 ? JpegScan::UnknownLargest : (std::int64_t{4} << frame_.precision) / step + 2;
    }

    void TakeApplication(std::uint8_t kind, ByteSpan content, std::int64_t start) {
        if (kind == marker::Exif && StartsWith(content, ExifMark)) {
            walk_.isExif = walk_.isExif || walk_.segments == 0;
        } else if (kind == marker::Exif && StartsWith(content, MetadataMark)) {
            const ByteSpan packet = content.subspan(MetadataMark.size());
            walk_.metadata.assign(packet.begin(), packet.end());
        } else if (kind == marker::MultiPicture && StartsWith(content, MultiPictureMark)) {
            TakePictureIndex(content.subspan(MultiPictureMark.size()),
                             start + static_cast<std::int64_t>(MultiPictureMark.size()));
        }
    }

    // A TIFF directory with an entry of 16 bytes for each picture. Source: CIPA DC-007, section 5.2.
    void TakePictureIndex(ByteSpan index, std::int64_t base) {
        constexpr std::uint16_t entriesTag = 0xB002;
        constexpr std::size_t entryBytes = 16;
        if (index.size() < 8) {
            return;
        }
        const bool isBig = index[0] == 'M';
        const auto number = [&](std::size_t offset, std::size_t width) -> std::uint32_t {
            if (offset + width > index.size()) {
                return 0;
            }
            if (width == 2) {
                return isBig ? LoadBig<std::uint16_t>(index, offset) : LoadLittle<std::uint16_t>(index, offset);
            }
            return isBig ? LoadBig<std::uint32_t>(index, offset) : LoadLittle<std::uint32_t>(index, offset);
        };
        const std::size_t directory = number(4, 4);
        const std::size_t count = number(directory, 2);
        for (std::size_t i = 0; i < count && directory + 2 + i * 12 + 12 <= index.size(); ++i) {
            const std::size_t entry = directory + 2 + i * 12;
            if (number(entry, 2) != entriesTag) {
                continue;
            }
            const std::size_t table = number(entry + 8, 4);
            const std::size_t pictures = number(entry + 4, 4) / entryBytes;
            for (std::size_t k = 0; k < pictures && table + (k + 1) * entryBytes <= index.size(); ++k) {
                const std::uint32_t length = number(table + k * entryBytes + 4, 4);
                const std::uint32_t offset = number(table + k * entryBytes + 8, 4);
                // The first picture is this one.
                if (offset != 0 && length != 0) {
                    walk_.furtherPictures.push_back({base + offset, length});
                }
            }
        }
    }

    // Follows a scan, whose data begin at `data`, to the next marker other than a restart.
    void TakeScan(ByteSpan header, std::int64_t data) {
        walk_.hasPicture = true;
        at_ = data;
        if (!walk_.brokenData) {
            walk_.lastScan = data;
            if (const auto scan = LoadScan(header)) {
                const JpegScanEnd end = FollowJpegScan(file_, data, frame_, *scan);
                at_ = end.position;
                if (!end.isComplete) {
                    walk_.brokenData = end.position;
                }
            }
        }
        const std::int64_t coded = at_;
        at_ = NextMarker(at_);
        if (!walk_.brokenData && wasDecoded_ && !MayFollowData(coded, at_)) {
            walk_.brokenData = coded;
        }
    }

    // Encoders leave a byte or two after the data, or pad to an even address.
    bool MayFollowData(std::int64_t from, std::int64_t end) {
        constexpr std::int64_t mostBytes = 2;
        constexpr std::int64_t mostFill = 64;
        const std::int64_t count = end - from;
        if (count <= mostBytes || count > mostFill) {
            return count <= mostBytes;
        }
        const ByteSpan bytes = file_.At(from, static_cast<std::size_t>(count));
        return !bytes.empty() && (bytes[0] == 0 || bytes[0] == Prefix) &&
               std::ranges::all_of(bytes, [&](std::uint8_t byte) { return byte == bytes[0]; });
    }

    // In coded data, FF is followed by 0 or is part of a restart marker.
    std::int64_t NextMarker(std::int64_t offset) {
        static constexpr BytePattern prefix = BytePatternOf<"\xFF">();
        for (;;) {
            const ByteSpan bytes = file_.From(offset, 2);
            if (bytes.size() < 2) {
                return file_.Limit();
            }
            const auto found = prefix.FindIn(bytes.first(bytes.size() - 1));
            if (!found) {
                offset += static_cast<std::int64_t>(bytes.size()) - 1;
                continue;
            }
            const std::uint8_t code = bytes[*found + 1];
            offset += static_cast<std::int64_t>(*found);
            if (code != 0 && code != Prefix && !(code >= marker::FirstRestart && code <= marker::LastRestart)) {
                return offset;
            }
            offset += code == Prefix ? 1 : 2;
        }
    }

    // Nothing if the scan's data cannot be decoded.
    std::optional<JpegScan> LoadScan(ByteSpan header) {
        wasDecoded_ = false;
        if (!isDecodable_ || header.empty() || header.size() < std::size_t{header[0]} * 2 + 4) {
            return std::nullopt;
        }
        JpegScan scan;
        const std::size_t count = header[0];
        const ByteSpan band = header.subspan(1 + count * 2);
        scan.firstCoefficient = frame_.isProgressive ? band[0] : 0U;
        scan.lastCoefficient = frame_.isProgressive ? band[1] : 63U;
        scan.highBit = frame_.isProgressive ? band[2] >> 4U : 0U;
        scan.lowBit = frame_.isProgressive ? band[2] & 15U : 0U;
        scan.restartInterval = restartInterval_;
        if (scan.lastCoefficient > 63 || scan.firstCoefficient > scan.lastCoefficient || count == 0 ||
            count > JpegScan::MostParts) {
            return std::nullopt;
        }
        const bool needsDc = scan.firstCoefficient == 0 && scan.highBit == 0;
        const bool needsAc = !frame_.isProgressive || scan.firstCoefficient != 0;
        for (std::size_t i = 0; i < count; ++i) {
            const auto component = std::ranges::find(frame_.components, header[1 + i * 2], &JpegComponent::id);
            const std::uint8_t slots = header[2 + i * 2];
            if (component == frame_.components.end()) {
                return std::nullopt;
            }
            const JpegScan::Part part{&*component, &dc_[slots >> 4U & 3U], &ac_[slots & 3U], LargestFirst(*component)};
            // Frames of motion JPEG omit the standard tables.
            if ((needsDc && !part.dc->IsDefined()) || (needsAc && !part.ac->IsDefined())) {
                return std::nullopt;
            }
            scan.parts.push_back(part);
        }
        if (frame_.isProgressive && needsAc && !Remember(scan)) {
            return std::nullopt;
        }
        wasDecoded_ = true;
        return scan;
    }

    // True if the data read so far have at least one bit for each block.
    bool Remember(const JpegScan& scan) const {
        JpegComponent& component = *scan.parts.front().component;
        const std::int64_t blocks = component.paddedWidth * component.paddedHeight;
        if (scan.parts.size() != 1 || blocks > MostBlocks || walk_.brokenData || blocks / 8 > at_) {
            return false;
        }
        component.nonzero.resize(static_cast<std::size_t>(blocks));
        return true;
    }

    ByteWindow& file_;
    std::int64_t at_;
    JpegWalk walk_;
    JpegFrame frame_;
    bool hasFrame_ = false;
    bool isDecodable_ = false;
    bool wasDecoded_ = false;
    std::uint32_t restartInterval_ = 0;
    // For the first coefficient, by the table's slot; 0 if undefined.
    std::array<std::int64_t, 4> firstSteps_{};
    std::array<JpegHuffmanTable, 4> dc_{};
    std::array<JpegHuffmanTable, 4> ac_{};
};

}  // namespace

bool BeginsJpeg(ByteSpan head) {
    if (head.size() < 4 || head[0] != Prefix || head[1] != marker::StartOfImage || head[2] != Prefix) {
        return false;
    }
    std::size_t code = 3;
    while (code + 1 < head.size() && head[code] == Prefix) {
        ++code;
    }
    return MayBeFirst(head[code]) && code + 2 < head.size() && LoadBig<std::uint16_t>(head, code + 1) >= 2;
}

JpegWalk WalkJpeg(ByteWindow& file, std::int64_t start) { return Walk(file, start).Take(); }

}  // namespace salvor
