#include "host/details/film_details.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>

#include "host/details/source_window.h"
#include "host/details/times.h"
#include "host/platform/shared_library.h"
#include "host/platform/text_conversion.h"
#include "host/validators/media/asf_object.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace salvor {

namespace {

using std::chrono::steady_clock;

// The library's functions that are used here, by their own names.
struct FilmLibrary {
    FilmLibrary() : library("libavformat.so." AV_STRINGIFY(LIBAVFORMAT_VERSION_MAJOR)) {
        library.Take(allocContext, "avformat_alloc_context");
        library.Take(freeContext, "avformat_free_context");
        library.Take(openInput, "avformat_open_input");
        library.Take(closeInput, "avformat_close_input");
        library.Take(findStreamInfo, "avformat_find_stream_info");
        library.Take(allocIo, "avio_alloc_context");
        library.Take(freeIo, "avio_context_free");
        library.Take(dictGet, "av_dict_get");
        library.Take(dictSet, "av_dict_set");
        library.Take(dictFree, "av_dict_free");
        library.Take(allocate, "av_malloc");
        library.Take(release, "av_free");
        library.Take(setLogLevel, "av_log_set_level");
    }

    SharedLibrary library;
    decltype(avformat_alloc_context)* allocContext = nullptr;
    decltype(avformat_free_context)* freeContext = nullptr;
    decltype(avformat_open_input)* openInput = nullptr;
    decltype(avformat_close_input)* closeInput = nullptr;
    decltype(avformat_find_stream_info)* findStreamInfo = nullptr;
    decltype(avio_alloc_context)* allocIo = nullptr;
    decltype(avio_context_free)* freeIo = nullptr;
    decltype(av_dict_get)* dictGet = nullptr;
    decltype(av_dict_set)* dictSet = nullptr;
    decltype(av_dict_free)* dictFree = nullptr;
    decltype(av_malloc)* allocate = nullptr;
    decltype(av_free)* release = nullptr;
    decltype(av_log_set_level)* setLogLevel = nullptr;
};

const FilmLibrary& Library() {
    static const FilmLibrary library;
    return library;
}

// Shows a source to the library, within a bound on the bytes read and on the time.
class FilmIo {
public:
    explicit FilmIo(MediumSource& source) : source_(source) {
        constexpr int bufferBytes = 1 << 15;
        io_ = Library().allocIo(static_cast<unsigned char*>(Library().allocate(bufferBytes)), bufferBytes, 0, this,
                                Read, nullptr, Seek);
    }
    FilmIo(const FilmIo&) = delete;
    FilmIo& operator=(const FilmIo&) = delete;
    ~FilmIo() {
        if (io_ != nullptr) {
            Library().release(io_->buffer);
            Library().freeIo(&io_);
        }
    }

    AVIOContext* Get() const { return io_; }
    AVIOInterruptCB Interrupt() { return {IsLate, this}; }

private:
    static int Read(void* self, std::uint8_t* buffer, int length) {
        auto& io = *static_cast<FilmIo*>(self);
        const std::int64_t wanted =
            std::min({std::int64_t{length}, io.source_.Size() - io.at_, MostBytes - io.bytesRead_});
        if (wanted <= 0 || IsLate(self) != 0) {
            return AVERROR_EOF;
        }
        const std::size_t read = io.source_.ReadAt(io.at_, buffer, static_cast<std::size_t>(wanted));
        io.at_ += static_cast<std::int64_t>(read);
        io.bytesRead_ += static_cast<std::int64_t>(read);
        return read > 0 ? static_cast<int>(read) : AVERROR_EOF;
    }

    static std::int64_t Seek(void* self, std::int64_t offset, int whence) {
        auto& io = *static_cast<FilmIo*>(self);
        if ((whence & AVSEEK_SIZE) != 0) {
            return io.source_.Size();
        }
        const int from = whence & ~AVSEEK_FORCE;
        const std::int64_t base = from == SEEK_SET ? 0 : from == SEEK_CUR ? io.at_ : io.source_.Size();
        if (offset < -base || offset > io.source_.Size() - base) {
            return AVERROR(EINVAL);
        }
        return io.at_ = base + offset;
    }

    static int IsLate(void* self) { return steady_clock::now() > static_cast<FilmIo*>(self)->end_ ? 1 : 0; }

    // The tables of a film of several hours take tens of MiB.
    static constexpr std::int64_t MostBytes = std::int64_t{64} << 20;

    MediumSource& source_;
    std::int64_t at_ = 0;
    std::int64_t bytesRead_ = 0;
    steady_clock::time_point end_ = steady_clock::now() + std::chrono::seconds(5);
    AVIOContext* io_ = nullptr;
};

// Films may name other files as parts of them.
int OpenNothing(AVFormatContext* /*context*/, AVIOContext** /*io*/, const char* /*name*/, int /*flags*/,
                AVDictionary** /*options*/) {
    return AVERROR(EPERM);
}

std::string FirstText(const AVDictionary* data, std::initializer_list<const char*> keys) {
    for (const char* key : keys) {
        const AVDictionaryEntry* const entry = Library().dictGet(data, key, nullptr, 0);
        if (entry != nullptr && *entry->value != '\0') {
            return entry->value;
        }
    }
    return {};
}

// Recorders without a clock write the first second of 1904 or 1970. A day alone is when a song was published, but sound
// recorders write day and clock apart.
std::string TakenOf(const AVDictionary* data) {
    const std::string day = FirstText(data, {"date"});
    const std::string time = FirstText(data, {"com.apple.quicktime.creationdate", "creation_time", "creationdate"});
    constexpr std::size_t clock = 8;
    constexpr std::size_t length = 19;
    const std::string text = time.size() == clock ? day + " " + time : time.empty() ? day : time;
    const std::string taken = text.size() < length ? "" : TimeIn(text);
    return taken < "1970-01-02" ? "" : taken;
}

// The library does not tell when a file of Windows Media was made.
std::string AsfTime(MediumSource& film) {
    constexpr int mostObjects = 256;
    constexpr std::int64_t timeOffset = 48;
    SourceWindow window(film);
    std::optional<AsfObject> object = ReadAsfObject(window, 0);
    if (!object || object->guid != AsfHeaderObject) {
        return {};
    }
    std::int64_t at = AsfHeaderStartBytes;
    for (int i = 0; i < mostObjects && (object = ReadAsfObject(window, at)); ++i) {
        if (object->guid == AsfFileProperties) {
            const ByteSpan time = window.At(at + timeOffset, sizeof(std::uint64_t));
            return time.empty() ? "" : TimeOfFileTime(LoadLittle<std::uint64_t>(time, 0));
        }
        at += static_cast<std::int64_t>(std::min(object->size, static_cast<std::uint64_t>(film.Size())));
    }
    return {};
}

std::string CameraOf(const AVDictionary* data) {
    const std::string maker =
        FirstText(data, {"com.apple.quicktime.make", "com.android.manufacturer", "make", "manufacturer"});
    const std::string model = FirstText(data, {"com.apple.quicktime.model", "com.android.model", "model"});
    return maker.empty() || model.starts_with(maker) ? model : maker + (model.empty() ? "" : " ") + model;
}

// Ogg names its streams, not the file.
std::string TitleOf(const AVFormatContext& film) {
    std::string title = FirstText(film.metadata, {"title"});
    if (title.empty() && film.nb_streams == 1) {
        title = FirstText(film.streams[0]->metadata, {"title"});
    }
    return title;
}

void TakePixels(const AVFormatContext& film, FileDetails& details) {
    for (unsigned i = 0; i < film.nb_streams; ++i) {
        const AVStream& stream = *film.streams[i];
        const bool isCover = (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
        if (stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO && !isCover && stream.codecpar->width > details.width) {
            details.width = stream.codecpar->width;
            details.height = stream.codecpar->height;
        }
    }
}

bool HasUnknownPictures(const AVFormatContext& film, const FileDetails& details) {
    // The streams of MPEG programs are found only while reading.
    bool hasPictures = film.nb_streams == 0 || (film.ctx_flags & AVFMTCTX_NOHEADER) != 0;
    for (unsigned i = 0; i < film.nb_streams; ++i) {
        hasPictures = hasPictures || film.streams[i]->codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
    }
    return hasPictures && details.width == 0;
}

FileDetails ReadWithLibrary(MediumSource& film) {
    const FilmLibrary& library = Library();
    FileDetails details;
    if (!library.library.HasAll()) {
        return details;
    }
    library.setLogLevel(AV_LOG_QUIET);
    FilmIo io(film);
    AVFormatContext* context = io.Get() == nullptr ? nullptr : library.allocContext();
    if (context == nullptr) {
        return details;
    }
    context->pb = io.Get();
    context->io_open = OpenNothing;
    context->interrupt_callback = io.Interrupt();
    AVDictionary* options = nullptr;
    for (const auto& [name, value] : {std::pair("protocol_whitelist", ","),
                                      {"format_whitelist",
                                       "mov,mp4,m4a,3gp,3g2,mj2,avi,asf,matroska,webm,flv,rm,mpeg,mpegts,swf,"
                                       "mp3,wav,aiff,au,ogg,mpegvideo"},
                                      {"probesize", "4000000"},
                                      {"analyzeduration", "2000000"},
                                      {"max_streams", "64"}}) {
        library.dictSet(&options, name, value, 0);
    }
    // On failure, this call frees the context.
    const bool isOpen = library.openInput(&context, "", nullptr, &options) == 0;
    library.dictFree(&options);
    if (!isOpen) {
        return details;
    }
    TakePixels(*context, details);
    if (HasUnknownPictures(*context, details) && library.findStreamInfo(context, nullptr) >= 0) {
        TakePixels(*context, details);
    }
    details.taken = TakenOf(context->metadata);
    details.title = TitleOf(*context);
    details.camera = CameraOf(context->metadata);
    library.closeInput(&context);
    return details;
}

}  // namespace

void LoadFilmLibrary() {
    // Encodings of the names of programs in a transport stream. Source: ETSI EN 300 468, annex A.
    constexpr std::array encodings{"ISO6937",     "ISO-8859-1",  "ISO-8859-2",  "ISO-8859-3",  "ISO-8859-4",
                                   "ISO-8859-5",  "ISO-8859-6",  "ISO-8859-7",  "ISO-8859-8",  "ISO-8859-9",
                                   "ISO-8859-10", "ISO-8859-11", "ISO-8859-13", "ISO-8859-14", "ISO-8859-15",
                                   "UCS-2BE",     "KSC_5601",    "GB2312",      "BIG5",        "UTF-8"};
    if (Library().library.HasAll()) {
        LoadTextConversions(encodings);
    }
}

FileDetails ReadFilmDetails(MediumSource& film) {
    FileDetails details = ReadWithLibrary(film);
    if (details.taken.empty()) {
        details.taken = AsfTime(film);
    }
    return details;
}

}  // namespace salvor
