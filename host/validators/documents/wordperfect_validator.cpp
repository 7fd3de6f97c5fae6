#include <FileTypeCatalog.h>

#include "formats/WordPerfectFile.h"
#include "host/validators/validator.h"

namespace salvor {

namespace {

bool BeginsWordPerfect(ByteSpan head) { return StartsWith(head, WordPerfectSignature) && IsWordPerfectHeader(head); }

Finding ValidateWordPerfect(Place& file) {
    const std::optional<WordPerfectFile> walked = WalkWordPerfect(file, WordPerfectEnd::Text);
    if (!walked) {
        return {};
    }
    if (walked->size > file.Limit()) {
        return {Verdict::Truncated, file.Limit(), FileTypeIndex::Wpd, {}, "goes on past the medium's end"};
    }
    if (walked->isDeclared) {
        return {Verdict::Whole, walked->size, FileTypeIndex::Wpd, {}, "the size that its header says"};
    }
    return {Verdict::Open, walked->size, FileTypeIndex::Wpd, {}, "text and functions up to other bytes"};
}

constexpr std::int32_t Types[] = {FileTypeIndex::Wpd};

}  // namespace

/// WordPerfect documents.
extern const Validator WordPerfectValidator;
const Validator WordPerfectValidator{
    .name = "wordperfect", .begins = BeginsWordPerfect, .validate = ValidateWordPerfect, .types = Types};

}  // namespace salvor
