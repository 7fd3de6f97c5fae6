#include "host/validators/media/movie_tables.h"

#include <algorithm>
#include <array>
#include <limits>

#include "frame/bytes/FieldReader.h"

namespace salvor {

namespace {

// Larger than any sum of an offset and a length in a file.
constexpr std::int64_t FarAway = std::numeric_limits<std::int64_t>::max() / 4;

std::int64_t Sum(std::uint64_t a, std::uint64_t b) {
    constexpr auto far = static_cast<std::uint64_t>(FarAway);
    return a >= far || b >= far ? FarAway : std::min(static_cast<std::int64_t>(a + b), FarAway);
}

// Reads a table from front to back while other tables of the file are being read.
class TableReader {
public:
    TableReader(ByteWindow& file, std::int64_t start, std::int64_t end) : file_(file), start_(start), end_(end) {}

    template <std::unsigned_integral T>
    T At(std::int64_t offset) {
        constexpr auto width = static_cast<std::int64_t>(sizeof(T));
        const std::int64_t from = start_ + offset;
        if (offset < 0 || from > end_ - width) {
            return 0;
        }
        if (from < heldFrom_ || from + width > heldFrom_ + static_cast<std::int64_t>(held_.size())) {
            Load(from);
        }
        const auto at = static_cast<std::size_t>(from - heldFrom_);
        return at + sizeof(T) <= held_.size() ? LoadBig<T>(held_, at) : T{0};
    }

    std::int64_t Bytes() const { return end_ - start_; }

private:
    void Load(std::int64_t from) {
        const ByteSpan bytes = file_.From(from, 1);
        const std::size_t most = static_cast<std::size_t>(std::min<std::int64_t>(end_ - from, ByteWindow::PieceBytes));
        const ByteSpan some = bytes.size() < most ? file_.At(from, most) : bytes.first(most);
        held_.assign(some.begin(), some.end());
        heldFrom_ = from;
    }

    ByteWindow& file_;
    std::int64_t start_;
    std::int64_t end_;
    std::vector<std::uint8_t> held_;
    std::int64_t heldFrom_ = 0;
};

// The tables of one track, and what is needed to interpret them.
struct Track {
    std::optional<Box> descriptions;
    std::optional<Box> sizes;
    std::optional<Box> compactSizes;
    std::optional<Box> chunks;
    std::optional<Box> offsets;
    std::optional<Box> longOffsets;
    std::uint32_t number = 0;
    bool isSoundTrack = false;
    bool hasMedia = false;
    // Its samples are in other files.
    bool isElsewhere = false;
    // For uncompressed sound in QuickTime, whose table counts each sample of one channel as one byte: the bytes of
    // `framesPerPacket` samples; 0 if the table is right.
    std::uint32_t bytesPerPacket = 0;
    std::uint32_t framesPerPacket = 1;
};

// The sizes of a track's samples, in order.
class SampleSizes {
public:
    SampleSizes(ByteWindow& file, const Track& track)
        : file_(file),
          isCompact_(!track.sizes),
          table_(file, Source(track).content, Source(track).end),
          packet_(track.bytesPerPacket),
          frames_(track.framesPerPacket),
          count_(table_.At<std::uint32_t>(8)) {
        const auto first = table_.At<std::uint32_t>(4);
        uniform_ = isCompact_ ? 0 : first;
        width_ = isCompact_ ? first & 0xFFU : 32;
    }

    bool IsSound() const {
        const bool isWidth = width_ == 4 || width_ == 8 || width_ == 16 || width_ == 32;
        return isWidth && (uniform_ != 0 || 12 + static_cast<std::int64_t>(count_) * width_ / 8 <= table_.Bytes());
    }
    std::uint32_t Left() const { return count_ - next_; }

    /// Bytes of the next `samples` samples, or of those that are left. Shows them to `check` if there is one: the first
    /// begins at `offset`.
    std::uint64_t Take(std::uint32_t samples, std::int64_t offset, SampleCheck* check) {
        const std::uint32_t taken = std::min(samples, Left());
        std::uint64_t bytes = 0;
        if (check != nullptr && uniform_ != 1) {
            for (const std::uint32_t end = next_ + taken; next_ < end && !file_.IsExhausted(); ++next_) {
                file_.Charge(sizeof(std::uint32_t));
                const std::uint32_t size = uniform_ != 0 ? uniform_ : SizeOf(next_);
                check->Look(file_, Sum(static_cast<std::uint64_t>(offset), bytes), size);
                bytes += size;
            }
        } else if (uniform_ == 1 && packet_ != 0) {
            bytes = std::uint64_t{taken} * packet_ / frames_;
            next_ += taken;
        } else if (uniform_ != 0) {
            bytes = std::uint64_t{taken} * uniform_;
            next_ += taken;
        } else {
            for (const std::uint32_t end = next_ + taken; next_ < end; ++next_) {
                bytes += SizeOf(next_);
            }
        }
        return bytes;
    }

private:
    static const Box& Source(const Track& track) { return track.sizes ? *track.sizes : *track.compactSizes; }

    std::uint32_t SizeOf(std::int64_t index) {
        switch (width_) {
            case 4:
                return index % 2 == 0 ? table_.At<std::uint8_t>(12 + index / 2) >> 4U
                                      : table_.At<std::uint8_t>(12 + index / 2) & 0xFU;
            case 8:
                return table_.At<std::uint8_t>(12 + index);
            case 16:
                return table_.At<std::uint16_t>(12 + index * 2);
            default:
                return table_.At<std::uint32_t>(12 + index * 4);
        }
    }

    ByteWindow& file_;
    bool isCompact_;
    TableReader table_;
    std::uint32_t packet_;
    std::uint32_t frames_;
    std::uint32_t uniform_ = 0;
    // In bits.
    std::uint32_t width_ = 0;
    std::uint32_t count_ = 0;
    std::uint32_t next_ = 0;
};

// The number of samples in each chunk: an entry has a chunk's number, from 1 on, and a count that holds up to the next
// entry.
class ChunkCounts {
public:
    ChunkCounts(ByteWindow& file, const Box& box) : table_(file, box.content, box.end) {
        const std::int64_t fits = (table_.Bytes() - 8) / 12;
        entries_ = std::min<std::int64_t>(table_.At<std::uint32_t>(4), fits);
        Enter();
    }

    std::uint32_t CountOf(std::uint32_t chunk) {
        while (entry_ + 1 < entries_ && chunk + 1 >= nextFirst_) {
            ++entry_;
            Enter();
        }
        return count_;
    }

private:
    void Enter() {
        count_ = table_.At<std::uint32_t>(8 + entry_ * 12 + 4);
        nextFirst_ = table_.At<std::uint32_t>(8 + (entry_ + 1) * 12);
    }

    TableReader table_;
    std::int64_t entries_ = 0;
    std::int64_t entry_ = 0;
    std::uint32_t count_ = 0;
    std::uint32_t nextFirst_ = 0;
};

// The end of the furthest sample of a track; nothing if its tables are broken.
std::optional<std::int64_t> EndOfSamples(ByteWindow& file, const Track& track, SampleCheck* check) {
    if (!track.offsets && !track.longOffsets) {
        return 0;
    }
    if ((!track.sizes && !track.compactSizes) || !track.chunks) {
        return std::nullopt;
    }
    const bool isLong = track.longOffsets.has_value();
    const Box& box = isLong ? *track.longOffsets : *track.offsets;
    TableReader offsets(file, box.content, box.end);
    SampleSizes sizes(file, track);
    ChunkCounts counts(file, *track.chunks);
    const auto chunks = offsets.At<std::uint32_t>(4);
    const std::int64_t width = isLong ? 8 : 4;
    if (8 + chunks * width > offsets.Bytes() || !sizes.IsSound()) {
        return std::nullopt;
    }
    std::int64_t end = 0;
    for (std::uint32_t chunk = 0; chunk < chunks && sizes.Left() > 0 && !file.IsExhausted(); ++chunk) {
        const std::int64_t at = 8 + chunk * width;
        const std::uint64_t offset = isLong ? offsets.At<std::uint64_t>(at) : offsets.At<std::uint32_t>(at);
        file.Charge(width);
        end = std::max(end, Sum(offset, sizes.Take(counts.CountOf(chunk), Sum(offset, 0), check)));
    }
    return end;
}

constexpr std::int64_t FullBoxBytes = 4;

// Uncompressed sound: version 0 of a sample description gives bits and channels, version 1 also the bytes.
void ReadSoundDescription(ByteWindow& file, const Box& descriptions, Track& track) {
    constexpr std::int64_t firstEntry = 8;
    FieldReader fields(file, descriptions.content + firstEntry + 16);
    const auto version = fields.Big<std::uint16_t>();
    fields.Skip(6);
    const std::uint32_t channels = fields.Big<std::uint16_t>();
    const std::uint32_t bits = fields.Big<std::uint16_t>();
    fields.Skip(8);
    const auto samples = fields.Big<std::uint32_t>();
    fields.Skip(4);
    const auto bytes = fields.Big<std::uint32_t>();
    if (version == 0) {
        track.bytesPerPacket = channels * (bits / 8);
    } else if (version == 1 && samples != 0 && !fields.IsBroken()) {
        track.bytesPerPacket = bytes;
        track.framesPerPacket = samples;
    }
}

bool ReadsElsewhere(ByteWindow& file, const Box& references) {
    bool isElsewhere = false;
    ForEachBox(file, references.content + FullBoxBytes + 4, references.end, [&](const Box& reference) {
        const ByteSpan flags = file.At(reference.content, FullBoxBytes);
        isElsewhere = isElsewhere || flags.empty() || (flags[3] & 1U) == 0;
        return true;
    });
    return isElsewhere;
}

// The boxes of a track that hold others.
constexpr std::array TrackContainers{BoxTypeOf("mdia"), BoxTypeOf("minf"), BoxTypeOf("stbl"), BoxTypeOf("dinf")};

bool ReadTrackBox(ByteWindow& file, const Box& box, Track& track, std::size_t depth = 0) {
    if (std::ranges::find(TrackContainers, box.type) != TrackContainers.end()) {
        track.hasMedia = true;
        return depth < TrackContainers.size() && ForEachBox(file, box.content, box.end, [&](const Box& inner) {
                   return ReadTrackBox(file, inner, track, depth + 1);
               });
    }
    if (box.type == BoxTypeOf("tkhd")) {
        const ByteSpan fields = file.At(box.content, 24);
        track.number = fields.empty() ? 0 : LoadBig<std::uint32_t>(fields, fields[0] == 0 ? 12 : 20);
    } else if (box.type == BoxTypeOf("hdlr")) {
        const ByteSpan kinds = file.At(box.content, 12);
        constexpr auto media = PatternOf("soun");
        track.isSoundTrack = track.isSoundTrack || HasPatternAt(kinds, 8, media);
    } else if (box.type == BoxTypeOf("stsd")) {
        track.descriptions = box;
        if (track.isSoundTrack) {
            ReadSoundDescription(file, box, track);
        }
    } else if (box.type == BoxTypeOf("dref")) {
        track.isElsewhere = ReadsElsewhere(file, box);
    } else if (box.type == BoxTypeOf("stsz")) {
        track.sizes = box;
    } else if (box.type == BoxTypeOf("stz2")) {
        track.compactSizes = box;
    } else if (box.type == BoxTypeOf("stsc")) {
        track.chunks = box;
    } else if (box.type == BoxTypeOf("stco")) {
        track.offsets = box;
    } else if (box.type == BoxTypeOf("co64")) {
        track.longOffsets = box;
    }
    return true;
}

bool ReadTrack(ByteWindow& file, const Box& box, MovieTables& movie) {
    Track track;
    const bool isTiled =
        ForEachBox(file, box.content, box.end, [&](const Box& inner) { return ReadTrackBox(file, inner, track); });
    if (!isTiled || !track.hasMedia) {
        return false;
    }
    (track.isSoundTrack ? movie.hasSoundTrack : movie.hasOtherTrack) = true;
    std::optional<SampleCheck> check = track.descriptions ? SampleCheck::For(file, *track.descriptions) : std::nullopt;
    const std::optional<std::int64_t> end =
        track.isElsewhere ? 0 : EndOfSamples(file, track, check ? &*check : nullptr);
    movie.fragmentTracks.push_back({.number = track.number, .sampleBytes = 0, .check = check});
    if (check && check->HasBroken()) {
        movie.hasBrokenSamples = true;
        movie.soundEnd = std::max(movie.soundEnd, check->SoundEnd().value_or(0));
    }
    movie.dataEnd = std::max(movie.dataEnd, end.value_or(0));
    return end.has_value();
}

// Reads the defaults for a track's fragments.
void ReadDefaults(ByteWindow& file, const Box& box, MovieTables& movie) {
    if (box.type != BoxTypeOf("trex")) {
        return;
    }
    const ByteSpan fields = file.At(box.content, 20);
    for (FragmentTrack& track : movie.fragmentTracks) {
        if (!fields.empty() && track.number == LoadBig<std::uint32_t>(fields, 4)) {
            track.sampleBytes = LoadBig<std::uint32_t>(fields, 16);
        }
    }
}

// Reads the samples of one movie fragment, track by track.
class FragmentReader {
public:
    FragmentReader(ByteWindow& file, const Box& fragment, MovieTables& movie)
        : file_(file), fragment_(fragment), movie_(movie), next_(fragment.start) {}

    bool ReadTrack(const Box& box) {
        bool hasHeader = false;
        return ForEachBox(file_, box.content, box.end, [&](const Box& inner) {
            if (inner.type == BoxTypeOf("tfhd")) {
                hasHeader = true;
                return ReadHeader(inner);
            }
            return inner.type != BoxTypeOf("trun") || (hasHeader && ReadRun(inner));
        });
    }

    std::int64_t End() const { return end_; }

private:
    bool ReadHeader(const Box& box) {
        FieldReader fields(file_, box.content);
        const auto flags = fields.Big<std::uint32_t>();
        const auto number = fields.Big<std::uint32_t>();
        // Offsets count from a declared base, from the fragment, or from the end of the previous track.
        const bool isTold = (flags & 1U) != 0;
        base_ = isTold ? Sum(fields.Big<std::uint64_t>(), 0) : (flags & 0x20000U) != 0 ? fragment_.start : next_;
        next_ = base_;
        fields.Skip((flags & 2U) != 0 ? 4 : 0);
        fields.Skip((flags & 8U) != 0 ? 4 : 0);
        const bool hasSize = (flags & 0x10U) != 0;
        const auto size = hasSize ? fields.Big<std::uint32_t>() : 0;
        const auto track = std::ranges::find(movie_.fragmentTracks, number, &FragmentTrack::number);
        track_ = track == movie_.fragmentTracks.end() ? nullptr : &*track;
        sampleBytes_ = hasSize || track_ == nullptr ? size : track_->sampleBytes;
        return !fields.IsBroken();
    }

    bool ReadRun(const Box& box) {
        FieldReader fields(file_, box.content);
        const auto flags = fields.Big<std::uint32_t>();
        const auto samples = fields.Big<std::uint32_t>();
        if ((flags & 1U) != 0) {
            next_ = base_ + static_cast<std::int32_t>(fields.Big<std::uint32_t>());
        }
        fields.Skip((flags & 4U) != 0 ? 4 : 0);
        const bool hasSize = (flags & 0x200U) != 0;
        const std::int64_t before = (flags & 0x100U) != 0 ? 4 : 0;
        const std::int64_t behind = ((flags & 0x400U) != 0 ? 4 : 0) + ((flags & 0x800U) != 0 ? 4 : 0);
        const std::int64_t width = before + (hasSize ? 4 : 0) + behind;
        const std::int64_t start = fields.Position();
        if (fields.IsBroken() || next_ < 0 || start + samples * width > box.end) {
            return false;
        }
        if (!hasSize) {
            next_ = Sum(static_cast<std::uint64_t>(next_), std::uint64_t{samples} * sampleBytes_);
        } else {
            TableReader table(file_, start, box.end);
            for (std::uint32_t i = 0; i < samples && !file_.IsExhausted(); ++i) {
                const auto size = table.At<std::uint32_t>(i * width + before);
                if (track_ != nullptr && track_->check) {
                    track_->check->Look(file_, next_, size);
                }
                next_ = Sum(static_cast<std::uint64_t>(next_), size);
            }
        }
        end_ = std::max(end_, next_);
        return true;
    }

    ByteWindow& file_;
    const Box& fragment_;
    MovieTables& movie_;
    FragmentTrack* track_ = nullptr;
    std::int64_t base_ = 0;
    // The start of the next run's samples, unless the run gives one itself.
    std::int64_t next_;
    std::int64_t end_ = 0;
    std::uint32_t sampleBytes_ = 0;
};

}  // namespace

std::optional<std::int64_t> ReadFragment(ByteWindow& file, const Box& fragment, MovieTables& movie) {
    FragmentReader reader(file, fragment, movie);
    const bool isSound = ForEachBox(file, fragment.content, fragment.end, [&](const Box& box) {
        return box.type != BoxTypeOf("traf") || reader.ReadTrack(box);
    });
    movie.hasBrokenSamples =
        movie.hasBrokenSamples || std::ranges::any_of(movie.fragmentTracks, [](const FragmentTrack& track) {
            return track.check && track.check->HasBroken();
        });
    return isSound ? std::optional(reader.End()) : std::nullopt;
}

MovieTables ReadMovieTables(ByteWindow& file, const Box& movie) {
    MovieTables tables;
    bool hasHeader = false;
    bool hasTracks = false;
    tables.isSound = ForEachBox(file, movie.content, movie.end, [&](const Box& box) {
        hasHeader = hasHeader || box.type == BoxTypeOf("mvhd");
        tables.hasFragments = tables.hasFragments || box.type == BoxTypeOf("mvex");
        // A compressed movie, a list of alternative movies, or a first box of Canon's replaces all others.
        const bool isFirst = box.start == movie.content;
        const bool isOther = box.type == BoxTypeOf("cmov") || box.type == BoxTypeOf("rmra") ||
                             (isFirst && box.type == BoxTypeOf("uuid"));
        hasHeader = hasHeader || isOther;
        hasTracks = hasTracks || isOther || box.type == BoxTypeOf("trak");
        return box.type != BoxTypeOf("trak") || ReadTrack(file, box, tables);
    });
    ForEachBox(file, movie.content, movie.end, [&](const Box& box) {
        return box.type != BoxTypeOf("mvex") || ForEachBox(file, box.content, box.end, [&](const Box& inner) {
                   ReadDefaults(file, inner, tables);
                   return true;
               });
    });
    tables.isSound = tables.isSound && hasHeader && (hasTracks || tables.hasFragments);
    return tables;
}

namespace {

// Reads where the items of a picture are. Puts the furthest end of those in the file into `end`; false if the box is
// broken.
bool ReadItemLocations(ByteWindow& file, const Box& box, std::optional<std::int64_t>& end) {
    FieldReader fields(file, box.content);
    const auto number = [&fields](unsigned width) -> std::uint64_t {
        return width == 8 ? fields.Big<std::uint64_t>() : width == 4 ? fields.Big<std::uint32_t>() : 0;
    };
    const auto goesOn = [&fields, &box](std::uint32_t left) {
        return left > 0 && fields.Position() < box.end && !fields.IsBroken();
    };
    const std::uint8_t version = fields.Byte();
    fields.Skip(3);
    const std::uint8_t widths = fields.Byte();
    const std::uint8_t otherWidths = fields.Byte();
    std::uint32_t items = version < 2 ? fields.Big<std::uint16_t>() : fields.Big<std::uint32_t>();
    for (; goesOn(items); --items) {
        fields.Skip(version < 2 ? 2 : 4);
        // Offsets count from the file's start, or from a box inside the meta box.
        const bool isInFile = version == 0 || (fields.Big<std::uint16_t>() & 0xFU) == 0;
        const bool isHere = fields.Big<std::uint16_t>() == 0;
        const std::uint64_t base = number(otherWidths >> 4U);
        for (std::uint32_t extents = fields.Big<std::uint16_t>(); goesOn(extents); --extents) {
            number(version == 0 ? 0 : otherWidths & 0xFU);
            const std::uint64_t offset = number(widths >> 4U);
            const std::int64_t itemEnd = Sum(static_cast<std::uint64_t>(Sum(base, offset)), number(widths & 0xFU));
            end = isInFile && isHere ? std::max(end.value_or(0), itemEnd) : end;
        }
    }
    return !fields.IsBroken() && fields.Position() <= box.end && items == 0;
}

}  // namespace

std::optional<std::int64_t> EndOfItems(ByteWindow& file, const Box& meta) {
    std::optional<std::int64_t> end;
    const auto takeBox = [&](const Box& box) {
        return box.type != BoxTypeOf("iloc") || ReadItemLocations(file, box, end);
    };
    return ForEachBox(file, meta.content + FullBoxBytes, meta.end, takeBox) ? end : std::nullopt;
}

}  // namespace salvor
