#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/details/picture_details.h"
#include "host/medium/extent.h"
#include "host/records/json_lines.h"
#include "host/workers/worker.h"

namespace salvor {

/// The reader for a file's details.
enum class DetailsReader : std::uint8_t { Picture, Film, Document, Pdf };

/// A file for a worker to look into.
struct DetailsQuestion {
    /// The asker's number for the file.
    std::int32_t file = 0;
    DetailsReader reader = DetailsReader::Picture;
    bool withPreview = false;
    std::vector<Extent> extents;
};

struct DetailsAnswer {
    std::int32_t file = 0;
    PictureDetails details;
};

/// The questions as a worker's order has them.
Json QuestionsToJson(const std::vector<DetailsQuestion>& questions);

/// The answer on a line from a worker, which must be trusted as little as the medium; nothing if it makes no sense.
std::optional<DetailsAnswer> AnswerIn(const std::string& line);

/// The order's kind.
inline constexpr const char* DetailsOrderKind = "details";

/// Runs first in the worker: loads the libraries of the readers that the questions name.
void LoadReaders(const Json& questions);

/// Answers the questions in a worker: sends an answer to each.
bool AnswerQuestions(Worker& worker);

}  // namespace salvor
