#include "host/details/details_worker.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <string_view>
#include <utility>

#include "host/details/document_details.h"
#include "host/details/film_details.h"
#include "host/medium/extent_source.h"
#include "host/records/base64.h"

namespace salvor {

namespace {

// Longer texts are truncated.
constexpr std::size_t MostText = 400;

// The text in the answer's field, in UTF-8, without characters that move a terminal's cursor.
std::string TextOf(const Json& answer, const char* key) {
    std::string text = answer.value(key, std::string());
    std::erase_if(text, [](char c) { return std::iscntrl(static_cast<unsigned char>(c)) != 0; });
    if (text.size() > MostText) {
        std::size_t end = MostText;
        // Not in the middle of a character.
        while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) {
            --end;
        }
        text.resize(end);
    }
    return text;
}

bool IsTime(std::string_view text) {
    constexpr std::string_view pattern = "0000-00-00T00:00:00";
    return text.size() == pattern.size() && std::ranges::equal(text, pattern, [](char c, char like) {
               return like == '0' ? c >= '0' && c <= '9' : c == like;
           });
}

std::int64_t PixelsOf(const Json& answer, const char* key) {
    constexpr std::int64_t most = std::int64_t{1} << 31;
    const std::int64_t pixels = answer.contains(key) ? IntegerIn(answer, key) : 0;
    return pixels > 0 && pixels <= most ? pixels : 0;
}

DetailsReader ReaderIn(const Json& question) { return static_cast<DetailsReader>(question.at("reader").get<int>()); }

PictureDetails DetailsOf(MediumSource& file, DetailsReader reader, bool withPreview) {
    switch (reader) {
        case DetailsReader::Picture:
            return ReadPictureDetails(file, withPreview);
        case DetailsReader::Film:
            return {ReadFilmDetails(file), {}};
        case DetailsReader::Document:
            return {ReadDocumentDetails(file), {}};
        case DetailsReader::Pdf:
            return {ReadPdfDetails(file), {}};
    }
    return {};
}

}  // namespace

Json QuestionsToJson(const std::vector<DetailsQuestion>& questions) {
    Json list = Json::array();
    for (const DetailsQuestion& question : questions) {
        Json extents = Json::array();
        for (const Extent& extent : question.extents) {
            extents.push_back({extent.startSector, extent.bytes});
        }
        list.push_back({{"file", question.file},
                        {"reader", static_cast<int>(question.reader)},
                        {"preview", question.withPreview},
                        {"extents", std::move(extents)}});
    }
    return list;
}

std::optional<DetailsAnswer> AnswerIn(const std::string& line) {
    try {
        const Json record = ParseJsonLine(line);
        DetailsAnswer answer{static_cast<std::int32_t>(IntegerIn(record, "file")), {}};
        FileDetails& known = answer.details.known;
        if (std::string taken = TextOf(record, "taken"); IsTime(taken) && !taken.starts_with("0000")) {
            known.taken = std::move(taken);
        }
        known.width = PixelsOf(record, "width");
        known.height = PixelsOf(record, "height");
        known.title = TextOf(record, "title");
        known.camera = TextOf(record, "camera");
        constexpr std::array<std::uint8_t, 3> jpeg{0xFF, 0xD8, 0xFF};
        std::vector<std::uint8_t> preview = FromBase64(record.value("preview", std::string()));
        if (preview.size() > jpeg.size() && std::equal(jpeg.begin(), jpeg.end(), preview.begin())) {
            answer.details.preview = std::move(preview);
        }
        return answer;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

void LoadReaders(const Json& questions) {
    for (const Json& question : questions) {
        if (ReaderIn(question) == DetailsReader::Film) {
            LoadFilmLibrary();
        } else if (ReaderIn(question) == DetailsReader::Pdf) {
            LoadPdfLibrary();
        }
    }
}

bool AnswerQuestions(Worker& worker) {
    for (const Json& question : worker.What()) {
        if (worker.StopRequested()) {
            return false;
        }
        std::vector<Extent> extents;
        for (const Json& extent : question.at("extents")) {
            extents.push_back({extent.at(0).get<std::int64_t>(), extent.at(1).get<std::int64_t>()});
        }
        const auto file = question.at("file").get<std::int32_t>();
        const std::int64_t sectorSize = worker.GetMedium().SectorSize();
        worker.At({extents.front().startSector, (extents.front().bytes + sectorSize - 1) / sectorSize}, file);
        ExtentSource source(worker.GetMedium(), extents);
        const PictureDetails details = DetailsOf(source, ReaderIn(question), question.at("preview").get<bool>());
        const FileDetails& known = details.known;
        worker.SendSoon(JsonLine({{"file", file},
                                  {"taken", known.taken},
                                  {"width", known.width},
                                  {"height", known.height},
                                  {"title", known.title},
                                  {"camera", known.camera},
                                  {"preview", ToBase64(details.preview)}}));
    }
    return true;
}

}  // namespace salvor
