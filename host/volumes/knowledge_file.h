#pragma once

#include <optional>
#include <string>

#include "host/platform/file_place.h"
#include "host/records/line_log.h"
#include "host/volumes/knowledge.h"
#include "host/volumes/prefer_known.h"

namespace salvor {

/// What is stored about the file systems of a medium.
struct KeptKnowledge {
    Knowledge knowledge;
    JoinedFindings joined;
};

/// Writes JSON lines, only ever appending: first everything that the file systems know, then the findings for their
/// files' joined extents, which may break off anywhere.
class KnowledgeWriter {
public:
    /// `of` is the digest of the outcomes that the file belongs to.
    KnowledgeWriter(const FilePlace& place, const std::string& of);

    /// To be called once, before findings are added.
    void Add(const KeptKnowledge& kept);
    void Add(std::int32_t file, const Finding& finding);
    void Sync() { log_.Sync(); }

private:
    LineLog log_;
};

/// True for a knowledge file or an empty file. Anything else must not be overwritten.
bool IsKnowledgeFile(const FilePlace& place);

/// Reads the file; nothing if it does not belong to `of`, or lacks part of what the file systems know.
std::optional<KeptKnowledge> ReadKnowledge(const FilePlace& place, const std::string& of, const Medium& medium);

}  // namespace salvor
