#pragma once

#include <optional>
#include <string>

#include "host/platform/file_place.h"
#include "host/report/line_log.h"
#include "host/volumes/knowledge.h"
#include "host/volumes/prefer_known.h"

namespace salvor {

/// What is kept of the file systems of a medium.
struct KeptKnowledge {
    Knowledge knowledge;
    JoinedFindings joined;
};

/// Writes JSON lines, only ever appending: first everything the file systems say, then the findings of their files'
/// joined extents, which may break off anywhere.
class KnowledgeWriter {
public:
    /// `of` is the digest of the outcomes that it belongs to.
    KnowledgeWriter(const FilePlace& place, const std::string& of, const KeptKnowledge& kept);

    void Add(std::int32_t file, const Finding& finding);
    void Sync() { log_.Sync(); }

private:
    LineLog log_;
};

/// Is it a knowledge file, or empty? Anything else must not be overwritten.
bool IsKnowledgeFile(const FilePlace& place);

/// Reads what is there; nothing if that does not belong to `of`, or does not hold all that the file systems say.
std::optional<KeptKnowledge> ReadKnowledge(const FilePlace& place, const std::string& of, const Medium& medium);

}  // namespace salvor
