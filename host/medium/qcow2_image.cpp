#include "host/medium/qcow2_image.h"

#include <fmt/format.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <mutex>
#include <stdexcept>
#include <utility>
#include <vector>

#include "frame/bytes/Bytes.h"

namespace salvor {

namespace {

constexpr std::int64_t EntryBytes = 8;
// Bits 9 to 55 of an entry of either table: the offset of a table or a cluster in the file; 0 if it is not there.
constexpr std::uint64_t PlaceBits = 0x00FFFFFFFFFFFE00;
constexpr std::uint64_t CompressedBit = std::uint64_t{1} << 62U;
constexpr std::uint64_t ZeroBit = 1;

struct Header {
    std::uint32_t version = 0;
    std::uint64_t belowAt = 0;
    std::uint32_t belowLength = 0;
    std::uint32_t clusterBits = 0;
    std::uint64_t size = 0;
    std::uint32_t encryption = 0;
    std::uint32_t topEntries = 0;
    std::uint64_t topAt = 0;
    std::uint64_t features = 0;
    std::uint32_t length = 0;
};

void Require(bool isGood, const std::string& whyNot) {
    if (!isGood) {
        throw std::invalid_argument(whyNot);
    }
}

Header ReadHeader(MediumSource& file) {
    // The header of version 2 ends here, that of version 3 goes on.
    constexpr std::uint32_t shortLength = 72;
    std::array<std::uint8_t, 104> bytes{};
    const std::size_t got = file.ReadAt(0, bytes.data(), bytes.size());
    Require(got >= shortLength, "its header is cut");
    Header header;
    header.version = LoadBig<std::uint32_t>(bytes, 4);
    header.belowAt = LoadBig<std::uint64_t>(bytes, 8);
    header.belowLength = LoadBig<std::uint32_t>(bytes, 16);
    header.clusterBits = LoadBig<std::uint32_t>(bytes, 20);
    header.size = LoadBig<std::uint64_t>(bytes, 24);
    header.encryption = LoadBig<std::uint32_t>(bytes, 32);
    header.topEntries = LoadBig<std::uint32_t>(bytes, 36);
    header.topAt = LoadBig<std::uint64_t>(bytes, 40);
    header.length = shortLength;
    if (header.version >= 3) {
        header.features = LoadBig<std::uint64_t>(bytes, shortLength);
        header.length = LoadBig<std::uint32_t>(bytes, 100);
    }
    return header;
}

void RequireReadable(const Header& header) {
    constexpr std::uint64_t largest = std::uint64_t{1} << 56U;
    // "Not closed cleanly" and "corrupt": neither changes how the image is read.
    constexpr std::uint64_t harmless = 3;
    constexpr std::uint64_t externalData = 4;
    constexpr std::uint64_t otherCompression = 8;
    constexpr const char* convert = "make a raw image of it with 'qemu-img convert -O raw'";
    Require(header.version == 2 || header.version == 3, "its version is not known");
    Require(header.clusterBits >= 9 && header.clusterBits <= 21, "its cluster size makes no sense");
    Require(header.size > 0 && header.size <= largest, "its size makes no sense");
    Require(header.encryption == 0, fmt::format("it is encrypted; {}, giving the key with --object", convert));
    Require((header.features & externalData) == 0, fmt::format("its data lie in another file; {}", convert));
    Require((header.features & otherCompression) == 0, fmt::format("it is not compressed with zlib; {}", convert));
    Require((header.features & ~harmless) == 0, fmt::format("it has features that Salvor does not read; {}", convert));
}

// A short text in the file: a name.
std::string TextAt(MediumSource& file, std::uint64_t offset, std::uint32_t length) {
    constexpr std::uint32_t longest = 1023;
    std::string text(std::min(length, longest), '\0');
    const bool isInside = length <= longest && offset <= static_cast<std::uint64_t>(file.Size());
    const std::size_t got = isInside
                                ? file.ReadAt(static_cast<std::int64_t>(offset),
                                              static_cast<std::uint8_t*>(static_cast<void*>(text.data())), text.size())
                                : 0;
    Require(got == length, "the name of the image below it is cut");
    return text;
}

// What the header's extensions say about the format of the image below.
std::optional<ImageFormat> FormatBelow(MediumSource& file, const Header& header) {
    constexpr std::uint32_t formatExtension = 0xE2792ACA;
    std::uint64_t at = header.length;
    while (at + EntryBytes <= header.belowAt) {
        std::array<std::uint8_t, EntryBytes> entry{};
        if (file.ReadAt(static_cast<std::int64_t>(at), entry.data(), entry.size()) != entry.size()) {
            break;
        }
        const auto type = LoadBig<std::uint32_t>(entry, 0);
        const auto length = LoadBig<std::uint32_t>(entry, 4);
        if (type == formatExtension) {
            const std::string name = TextAt(file, at + EntryBytes, length);
            return name == "vpc" ? ImageFormat::Vhd : ImageFormatNamed(name);
        }
        if (type == 0) {
            break;
        }
        at += EntryBytes + (std::uint64_t{length} + 7) / 8 * 8;
    }
    return std::nullopt;
}

class Qcow2Image final : public MediumSource {
public:
    Qcow2Image(std::unique_ptr<MediumSource> file, std::unique_ptr<MediumSource> below, const Header& header)
        : file_(std::move(file)),
          below_(std::move(below)),
          clusterBits_(header.clusterBits),
          size_(static_cast<std::int64_t>(header.size)),
          cluster_(static_cast<std::size_t>(ClusterBytes())),
          table_(static_cast<std::size_t>(ClusterBytes())) {
        ReadTopTable(header);
    }

    std::int64_t Size() const override { return size_; }
    ImageFormat Format() const override { return ImageFormat::Qcow2; }
    std::vector<std::string> Files() const override {
        std::vector<std::string> files = file_->Files();
        if (below_) {
            std::ranges::move(below_->Files(), std::back_inserter(files));
        }
        return files;
    }

    std::size_t ReadAt(std::int64_t offset, std::uint8_t* buffer, std::size_t length) override {
        const std::lock_guard lock(mutex_);
        std::size_t done = 0;
        while (done < length) {
            const std::int64_t at = offset + static_cast<std::int64_t>(done);
            const Run run = RunAt(at, at + static_cast<std::int64_t>(length - done));
            const std::size_t got = ReadRun(run, at, buffer + done);
            done += got;
            if (got < static_cast<std::size_t>(run.length)) {
                break;
            }
        }
        return done;
    }

    ByteRange NextData(std::int64_t offset) override {
        const std::lock_guard lock(mutex_);
        // A hostile table could keep a search busy forever; where the search stops, the bytes count as data.
        constexpr int mostSteps = 4096;
        for (int step = 0; step < mostSteps && offset < size_; ++step) {
            const std::int64_t zeros = ZerosIn(RunAt(offset, size_), offset);
            if (zeros == 0) {
                break;
            }
            offset += zeros;
        }
        return {offset, DataFrom(offset)};
    }

private:
    enum class Kind { Zeros, Plain, Compressed, Below, Broken };
    // Bytes of the medium that are stored in one way.
    struct Run {
        Kind kind = Kind::Broken;
        // For a plain run: the offset of its first byte in the file.
        std::int64_t place = 0;
        // For a compressed cluster, which is always a run of its own.
        std::uint64_t entry = 0;
        std::int64_t length = 0;
    };

    std::int64_t ClusterBytes() const { return std::int64_t{1} << clusterBits_; }
    std::int64_t TableEntries() const { return ClusterBytes() / EntryBytes; }

    void ReadTopTable(const Header& header) {
        const std::int64_t tableSpan = ClusterBytes() * TableEntries();
        const std::int64_t wanted = (size_ - 1) / tableSpan + 1;
        const auto fileSize = static_cast<std::uint64_t>(file_->Size());
        const bool isInside = static_cast<std::uint64_t>(wanted) <= header.topEntries && header.topAt <= fileSize &&
                              static_cast<std::uint64_t>(wanted) * EntryBytes <= fileSize - header.topAt;
        Require(isInside, "its table lies outside the file: the file was cut");
        top_.resize(static_cast<std::size_t>(wanted * EntryBytes));
        const std::size_t got = file_->ReadAt(static_cast<std::int64_t>(header.topAt), top_.data(), top_.size());
        Require(got == top_.size(), "its table cannot be read");
    }

    // The offset of the table for the cluster at this offset; 0 if it is not there.
    std::uint64_t TablePlace(std::int64_t offset) const {
        const std::int64_t table = (offset >> clusterBits_) / TableEntries();
        return LoadBig<std::uint64_t>(top_, static_cast<std::size_t>(table * EntryBytes)) & PlaceBits;
    }

    // The table entry of the cluster at this offset; nothing if its table is there but cannot be read.
    std::optional<std::uint64_t> EntryAt(std::int64_t offset) {
        const std::int64_t cluster = offset >> clusterBits_;
        const std::int64_t table = cluster / TableEntries();
        if (tableInside_ != table) {
            const std::uint64_t place = TablePlace(offset);
            tableInside_ = -1;
            if (file_->ReadAt(static_cast<std::int64_t>(place), table_.data(), table_.size()) != table_.size()) {
                return std::nullopt;
            }
            tableInside_ = table;
        }
        return LoadBig<std::uint64_t>(table_, static_cast<std::size_t>(cluster % TableEntries() * EntryBytes));
    }

    // How the cluster at the offset is stored, from the offset on; for a missing table, this covers all its clusters.
    Run ClusterAt(std::int64_t offset) {
        Run run;
        if (TablePlace(offset) == 0) {
            const std::int64_t tableSpan = ClusterBytes() * TableEntries();
            run.kind = below_ ? Kind::Below : Kind::Zeros;
            run.length = std::min(tableSpan - offset % tableSpan, size_ - offset);
            return run;
        }
        const std::int64_t inCluster = offset & (ClusterBytes() - 1);
        run.length = std::min(ClusterBytes() - inCluster, size_ - offset);
        const auto entry = EntryAt(offset);
        if (!entry) {
            return run;
        }
        run.entry = *entry;
        run.place = static_cast<std::int64_t>(*entry & PlaceBits) + inCluster;
        if ((*entry & CompressedBit) != 0) {
            run.kind = Kind::Compressed;
        } else if ((*entry & ZeroBit) != 0) {
            run.kind = Kind::Zeros;
        } else if ((*entry & PlaceBits) != 0) {
            run.kind = Kind::Plain;
        } else {
            run.kind = below_ ? Kind::Below : Kind::Zeros;
        }
        return run;
    }

    // Joins clusters that are stored in the same way, up to `end` at most, and not much more than 1 GiB.
    Run RunAt(std::int64_t offset, std::int64_t end) {
        constexpr std::int64_t longest = std::int64_t{1} << 30U;
        end = std::min(end, offset + longest);
        Run run = ClusterAt(offset);
        while (offset + run.length < end && run.kind != Kind::Compressed && run.kind != Kind::Broken) {
            const Run next = ClusterAt(offset + run.length);
            if (next.kind != run.kind || (run.kind == Kind::Plain && next.place != run.place + run.length)) {
                break;
            }
            run.length += next.length;
        }
        run.length = std::min(run.length, end - offset);
        return run;
    }

    // How many bytes from here on must be read. Looks only a little way ahead, as more is not needed at once.
    std::int64_t DataFrom(std::int64_t offset) {
        constexpr std::int64_t longRun = std::int64_t{4} << 20U;
        const std::int64_t mostEnd = std::min(size_, offset + longRun);
        std::int64_t at = offset;
        while (at < mostEnd) {
            const Run run = RunAt(at, mostEnd);
            if (at > offset && ZerosIn(run, at) > 0) {
                break;
            }
            at += run.length;
        }
        return at - offset;
    }

    // How many of the run's first bytes are known to be zeros.
    std::int64_t ZerosIn(const Run& run, std::int64_t offset) const {
        if (run.kind != Kind::Below) {
            return run.kind == Kind::Zeros ? run.length : 0;
        }
        const std::int64_t belowSize = below_->Size();
        const std::int64_t data = offset < belowSize ? below_->NextData(offset).first : belowSize;
        return data >= belowSize ? run.length : std::min(data - offset, run.length);
    }

    std::size_t ReadRun(const Run& run, std::int64_t offset, std::uint8_t* buffer) {
        const auto length = static_cast<std::size_t>(run.length);
        switch (run.kind) {
            case Kind::Zeros:
                std::memset(buffer, 0, length);
                return length;
            case Kind::Plain:
                return file_->ReadAt(run.place, buffer, length);
            case Kind::Compressed:
                return ReadCompressed(run, offset, buffer);
            case Kind::Below:
                return ReadBelow(offset, buffer, length);
            case Kind::Broken:
                break;
        }
        return 0;
    }

    // The image below may be smaller; after its end there are zeros.
    std::size_t ReadBelow(std::int64_t offset, std::uint8_t* buffer, std::size_t length) {
        const std::int64_t there =
            std::clamp<std::int64_t>(below_->Size() - offset, 0, static_cast<std::int64_t>(length));
        const auto wanted = static_cast<std::size_t>(there);
        const std::size_t got = wanted > 0 ? below_->ReadAt(offset, buffer, wanted) : 0;
        if (got < wanted) {
            return got;
        }
        std::memset(buffer + wanted, 0, length - wanted);
        return length;
    }

    std::size_t ReadCompressed(const Run& run, std::int64_t offset, std::uint8_t* buffer) {
        if (unpacked_ != run.entry && !Unpack(run.entry)) {
            return 0;
        }
        const auto length = static_cast<std::size_t>(run.length);
        std::memcpy(buffer, cluster_.data() + (offset & (ClusterBytes() - 1)), length);
        return length;
    }

    // The entry of a compressed cluster gives the offset of the packed bytes, and how many more sectors of 512 bytes
    // they touch.
    bool Unpack(std::uint64_t entry) {
        unpacked_ = 0;
        const std::uint32_t placeBits = 62 - (clusterBits_ - 8);
        const auto place = static_cast<std::int64_t>(entry & ((std::uint64_t{1} << placeBits) - 1));
        const std::uint64_t sectors = (entry & (CompressedBit - 1)) >> placeBits;
        packed_.resize(static_cast<std::size_t>((sectors + 1) * 512) - static_cast<std::size_t>(place % 512));
        const std::size_t got = place < file_->Size() ? file_->ReadAt(place, packed_.data(), packed_.size()) : 0;
        // Raw deflate with a window of 4 KiB.
        z_stream stream{};
        if (got == 0 || inflateInit2(&stream, -12) != Z_OK) {
            return false;
        }
        stream.next_in = packed_.data();
        stream.avail_in = static_cast<uInt>(got);
        stream.next_out = cluster_.data();
        stream.avail_out = static_cast<uInt>(cluster_.size());
        inflate(&stream, Z_FINISH);
        const bool isWhole = stream.avail_out == 0;
        inflateEnd(&stream);
        unpacked_ = isWhole ? entry : 0;
        return isWhole;
    }

    std::unique_ptr<MediumSource> file_;
    std::unique_ptr<MediumSource> below_;
    std::uint32_t clusterBits_;
    std::int64_t size_;
    // Entries in the file's byte order.
    std::vector<std::uint8_t> top_;

    std::mutex mutex_;
    std::vector<std::uint8_t> packed_;
    // The cluster that was unpacked last, and its entry.
    std::vector<std::uint8_t> cluster_;
    std::uint64_t unpacked_ = 0;
    // The table that was read last, and its number.
    std::vector<std::uint8_t> table_;
    std::int64_t tableInside_ = -1;
};

}  // namespace

std::unique_ptr<MediumSource> OpenQcow2Image(std::unique_ptr<MediumSource> file, const OpenBelow& openBelow) {
    const Header header = ReadHeader(*file);
    RequireReadable(header);
    std::unique_ptr<MediumSource> below;
    if (header.belowAt != 0) {
        below = openBelow(TextAt(*file, header.belowAt, header.belowLength), FormatBelow(*file, header));
    }
    return std::make_unique<Qcow2Image>(std::move(file), std::move(below), header);
}

}  // namespace salvor
