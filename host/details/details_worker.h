#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/details/picture_details.h"
#include "host/medium/extent.h"
#include "host/report/json_lines.h"
#include "host/workers/worker.h"

namespace salvor {

/// Which reader takes a file's details.
enum class DetailsReader : std::uint8_t { Picture, Film, Document, Pdf };

/// A file for a worker to look into.
struct DetailsQuestion {
    /// The asker's own number for it.
    std::int32_t file = 0;
    DetailsReader reader = DetailsReader::Picture;
    bool withPreview = false;
    std::vector<Extent> extents;
};

struct DetailsAnswer {
    std::int32_t file = 0;
    PictureDetails details;
};

/// As a worker's order has them.
Json QuestionsToJson(const std::vector<DetailsQuestion>& questions);

/// The answer on a line of a worker, which is as little to be trusted as the medium; nothing if it makes no sense.
std::optional<DetailsAnswer> AnswerIn(const std::string& line);

/// The order's kind.
inline constexpr const char* DetailsOrderKind = "details";

/// What it does first: loads the libraries of the readers that the questions name.
void LoadReaders(const Json& questions);

/// What a worker does with such questions: sends an answer to each.
bool AnswerQuestions(Worker& worker);

}  // namespace salvor
