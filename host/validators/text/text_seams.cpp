#include "host/validators/text/text_seams.h"

#include <algorithm>
#include <bitset>
#include <cmath>
#include <optional>
#include <string_view>
#include <vector>

#include "host/validators/text/seam_lines.h"
#include "host/validators/text/text_bytes.h"
#include "host/validators/text/text_model.h"
#include "host/validators/text/text_starts.h"

namespace salvor {

namespace {

// In bytes: how much of a text is learned before a cluster border, and how much is compared after it.
constexpr std::int64_t Learned = 4096;
constexpr std::int64_t Compared = 1024;
// The least that is left of another text after a seam.
constexpr std::size_t LeastBehind = 8;
// After the end of a cluster, this many bytes may be printable by chance.
constexpr std::int64_t ByChance = 24;
constexpr std::int64_t LargestCluster = 0x10000;
// For one text: how many borders are compared, and how many clusters searched. A hostile medium has more.
constexpr int MostComparisons = 1024;
constexpr int MostSearches = 64;
// Of ten thousand texts, only two in which this many lines end alike continue with this many that end otherwise.
constexpr int LinesBeforeChange = 4;
constexpr int LinesAfterChange = 3;

// All odds are natural logarithms. They were fitted, as those of `SeamLines`, to two thousand texts of this kind.
constexpr double LeastOdds = -1e9;
// For text that fills a cluster in the middle of a line and ends there.
constexpr double EnoughInFullCluster = -1;
// For a seam in a cluster and one at its border together. A cluster is not searched if even the highest odds of one in
// it would be too low.
constexpr double EnoughInCluster = 0.4;
constexpr double WeightOfLength = 0.9;
constexpr double HighestOddsOfCluster = 2.5;
// For the border alone, after a piece of a file and after what looks like a whole one.
constexpr double EnoughAfterPiece = 1;
constexpr double EnoughAtBorder = 3;
constexpr double OddsOfFileStart = 2.65;
// For a border at which a mark that files open with follows a letter. Base64 has "//" too.
constexpr double LeastOddsOfOpening = 1;
// For the last cluster alone, if the text ends in the middle of a line.
constexpr double EnoughInLast = -0.2;
// If its last line only closes a bracket.
constexpr double EnoughBeforeCloser = 2;

bool IsLineEnd(std::uint8_t byte) { return byte == '\n' || byte == '\r'; }

// True if the line before `at` and all lines after it have no blanks, as in a list of words or in base64. Such text
// goes on where its letters begin to differ.
bool IsInList(ByteSpan text, std::size_t at) {
    constexpr std::size_t looked = 256;
    constexpr std::size_t longestLine = 100;
    const auto isBlank = [](std::uint8_t byte) {
        return byte == ' ' || byte == '\t';
    };
    const ByteSpan after = text.subspan(at, std::min(looked, text.size() - at));
    const auto count = static_cast<std::size_t>(std::ranges::count(after, std::uint8_t{'\n'}));
    if (at < looked || count * longestLine < after.size() || std::ranges::any_of(after, isBlank)) {
        return false;
    }
    // Without its line end.
    const ByteSpan before = text.subspan(at - longestLine, longestLine - 1);
    const auto lineStart = std::find(before.rbegin(), before.rend(), std::uint8_t{'\n'});
    return std::none_of(before.rbegin(), lineStart, isBlank);
}

// Models for one search after the other, since making one takes longer than most searches.
struct Models {
    TextModel known{false};
    TextModel fresh{false};
    TextModel backwards{true};
};
Models& SharedModels() {
    thread_local Models models;
    return models;
}

// The odds that a cluster has a seam, from those of its most likely place and how many bytes come after it.
double OddsOfSeam(double place, std::size_t length) {
    return -6 + 0.48 * place + 0.4 * std::log(static_cast<double>(length));
}

// Not at a place of the text where a seam is looked for.
constexpr double NotSearched = -1e9;

// How many bits fewer the text from each byte to its end takes because of what comes before, for the bytes from `begin`
// on. The first byte has nothing before it. The last value, for the end, is 0.
std::vector<double> SavedBits(ByteSpan text, std::size_t begin) {
    Models& models = SharedModels();
    std::vector<double> saved(text.size() + 1, NotSearched);
    std::vector<double> shares(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (i < begin) {
            models.known.Learn(text, i);
        } else {
            shares[i] = models.known.Take(text, i);
        }
    }
    const std::vector<std::uint8_t> reversed(text.rbegin(), text.rend());
    saved[text.size()] = 0;
    for (std::size_t i = text.size(); i-- > std::max(begin, std::size_t{1});) {
        saved[i] = saved[i + 1] + std::log2(shares[i] / models.backwards.Take(reversed, text.size() - 1 - i));
    }
    models.known.Forget();
    models.backwards.Forget();
    return saved;
}

// How many bits fewer `count` bytes, `from` bytes after `at`, take if the text before `at` is known too.
double BitsSavedBehind(Models& models, ByteSpan text, std::size_t at, std::size_t from, std::size_t count) {
    // A logarithm takes longer than the rest. The product of this many ratios neither overflows nor vanishes.
    constexpr std::size_t factors = 16;
    const ByteSpan behind = text.subspan(at);
    const std::size_t end = from + count;
    double saved = 0;
    for (std::size_t i = from; i < end;) {
        double ratio = 1;
        for (const std::size_t stop = std::min(i + factors, end); i < stop; ++i) {
            ratio *= models.known.Take(text, at + i) / models.fresh.Take(behind, i);
        }
        saved += std::log2(ratio);
    }
    return saved;
}

// The odds that a text ends at `at`, by the bits on both sides of it. Bits near a seam say more than others.
double OddsOfBits(const std::vector<double>& saved, std::size_t begin, std::size_t at) {
    struct Reach {
        std::size_t bytes;
        double oddsOfBitBefore;
        double oddsOfBitAfter;
    };
    constexpr Reach reaches[] = {{8, 0.046, 0.032}, {64, 0.01, 0.012}};
    constexpr double oddsOfBit = 0.008;
    const std::size_t first = std::max(begin, std::size_t{1});
    double odds = -oddsOfBit * saved[at];
    for (const Reach& reach : reaches) {
        const double before = saved[std::max(at, first + reach.bytes) - reach.bytes] - saved[at];
        const double after = saved[at] - saved[std::min(at + reach.bytes, saved.size() - 1)];
        odds += reach.oddsOfBitBefore * before - reach.oddsOfBitAfter * after;
    }
    return odds;
}

struct End {
    std::int64_t at = 0;
    double odds = 0;
};

class SeamSearch {
public:
    SeamSearch(Place& file, std::int64_t from, const TextRun& run, bool isPiece)
        : file_(file), from_(from), run_(run), isPiece_(isPiece), cluster_(file.ClusterBytes()) {}

    std::optional<std::int64_t> Find() {
        if (cluster_ == 0 || cluster_ > LargestCluster || run_.printableEnd <= from_) {
            return std::nullopt;
        }
        if (const auto end = EndBeforeOtherLineEnds()) {
            return end;
        }
        endsInLine_ = EndsInLine();
        isBeforeBinary_ = run_.behind == TextRun::Behind::Binary;
        const std::int64_t last = run_.printableEnd / cluster_ * cluster_;
        // What comes before, such as the header of a message, is not text to learn from.
        const std::int64_t first = (from_ / cluster_ + 1) * cluster_;
        for (std::int64_t border = first; border <= last && !file_.IsExhausted(); border += cluster_) {
            if (const auto end = EndBefore(border)) {
                return end;
            }
        }
        return EndInLast(last);
    }

private:
    bool EndsInLine() const {
        const ByteSpan byte = file_.At(run_.end - 1, 1);
        return !byte.empty() && !IsLineEnd(byte[0]);
    }
    bool EndsInCloser() const {
        const ByteSpan bytes = file_.At(std::max(run_.end - 2, from_), 2);
        return bytes.size() == 2 && IsLineEnd(bytes[0]) && (bytes[1] == '}' || bytes[1] == ']');
    }
    bool EndsAt(std::int64_t border) const { return run_.printableEnd - border <= (isBeforeBinary_ ? ByChance : 0); }

    std::optional<std::int64_t> EndBeforeOtherLineEnds();
    std::optional<std::int64_t> EndBefore(std::int64_t border);
    std::optional<std::int64_t> EndInLast(std::int64_t last);
    bool HasNewWords(std::int64_t border);
    bool IsListAt(std::int64_t border);
    bool OpensInWord(std::int64_t border);
    double OddsAt(std::int64_t border);
    End BestEnd(std::int64_t start, std::int64_t end);
    std::vector<std::uint8_t> Copy(std::int64_t from, std::int64_t end) {
        std::vector<std::uint8_t> bytes(static_cast<std::size_t>(std::max<std::int64_t>(end - from, 0)));
        file_.Copy(from, bytes);
        return bytes;
    }

    Place& file_;
    std::int64_t from_;
    const TextRun& run_;
    bool isPiece_;
    std::int64_t cluster_;
    bool endsInLine_ = false;
    bool isBeforeBinary_ = false;
    int comparisonsLeft_ = MostComparisons;
    int searchesLeft_ = MostSearches;
};

// The place, up to a cluster's end, where lines that end with "\r\n" are followed by lines that end with "\n", or the
// other way round.
std::optional<std::int64_t> SeamSearch::EndBeforeOtherLineEnds() {
    int alike = 0;
    int others = 0;
    bool hasReturns = false;
    std::uint8_t before = 0;
    std::int64_t lineStart = from_;
    std::int64_t change = run_.printableEnd;
    std::int64_t changedTo = run_.printableEnd;
    for (std::int64_t at = from_; at < changedTo;) {
        ByteSpan bytes = file_.From(at);
        bytes = bytes.first(static_cast<std::size_t>(std::min(std::ssize(bytes), changedTo - at)));
        if (bytes.empty()) {
            return std::nullopt;
        }
        const std::size_t feed = static_cast<std::size_t>(std::ranges::find(bytes, std::uint8_t{'\n'}) - bytes.begin());
        if (feed == bytes.size()) {
            before = bytes.back();
            at += std::ssize(bytes);
            continue;
        }
        const bool hasReturn = (feed > 0 ? bytes[feed - 1] : before) == '\r';
        hasReturns = alike == 0 ? hasReturn : hasReturns;
        if (hasReturn == hasReturns && others == 0) {
            ++alike;
        } else if (hasReturn == hasReturns || alike < LinesBeforeChange) {
            return std::nullopt;
        } else if (++others == 1) {
            change = lineStart;
            changedTo = std::min((change / cluster_ + 1) * cluster_, run_.printableEnd);
        }
        at += static_cast<std::int64_t>(feed) + 1;
        before = '\n';
        lineStart = at;
    }
    return others >= LinesAfterChange ? std::optional(change) : std::nullopt;
}

std::optional<std::int64_t> SeamSearch::EndBefore(std::int64_t border) {
    const ByteSpan before = file_.At(border - 1, 1);
    if (before.empty()) {
        return std::nullopt;
    }
    const bool hasOldSlack = !file_.IsSlackClean();
    if (EndsAt(border)) {
        const bool isSearched = hasOldSlack && !IsLineEnd(before[0]);
        const End end = isSearched ? BestEnd(border - cluster_, border) : End{};
        return isSearched && end.odds > EnoughInFullCluster ? std::optional(end.at) : std::nullopt;
    }
    // Where no old bytes are left, the texts are compared only if the comparison can say that one ends here.
    const bool mayEnd = hasOldSlack || isPiece_ || OpensInWord(border);
    if (comparisonsLeft_ == 0 || !mayEnd || !HasNewWords(border) || IsListAt(border)) {
        return std::nullopt;
    }
    const double odds = OddsAt(border);
    // A text that has gone on for many clusters rarely ends in the next one.
    const double toGoOn =
        std::log(static_cast<double>(std::max(border - from_, cluster_)) / static_cast<double>(cluster_));
    const double enough = EnoughInCluster + WeightOfLength * toGoOn - odds;
    if (hasOldSlack && enough < HighestOddsOfCluster && searchesLeft_ > 0) {
        --searchesLeft_;
        const End end = BestEnd(border - cluster_, border);
        if (end.odds > enough) {
            return end.at;
        }
    }
    const double oddsOfBorder = 1.5 * odds - 0.5 + (BeginsLikeFile(file_.From(border)) ? OddsOfFileStart : 0);
    // Files hardly ever fill their last cluster, so this may be the rest of one; but where no old bytes are left, files
    // of several parts are more frequent than that.
    const bool isBorder =
        isPiece_ ? oddsOfBorder > EnoughAfterPiece : hasOldSlack && oddsOfBorder > EnoughAtBorder + 2 * toGoOn;
    return isBorder || (odds > LeastOddsOfOpening && OpensInWord(border)) ? std::optional(border) : std::nullopt;
}

std::optional<std::int64_t> SeamSearch::EndInLast(std::int64_t last) {
    if (!endsInLine_ || EndsAt(last) || file_.IsSlackClean()) {
        return std::nullopt;
    }
    const End end = BestEnd(last, run_.end);
    return end.odds > (EndsInCloser() ? EnoughBeforeCloser : EnoughInLast) ? std::optional(end.at) : std::nullopt;
}

// True if many groups of three bytes after the border do not occur in the text before it. This is far cheaper than to
// compare the texts, and leaves few borders inside of texts.
bool SeamSearch::HasNewWords(std::int64_t border) {
    constexpr std::int64_t looked = 32;
    constexpr unsigned hashBits = 15;
    const std::int64_t start = std::max(from_, border - Learned);
    const std::vector<std::uint8_t> text = Copy(start, std::min(border + looked, run_.printableEnd));
    const auto at = static_cast<std::size_t>(border - start);
    const auto slotOf = [&text](std::size_t end) {
        const std::uint32_t bytes =
            std::uint32_t{text[end - 2]} | std::uint32_t{text[end - 1]} << 8U | std::uint32_t{text[end]} << 16U;
        return bytes * 2654435761U >> (32U - hashBits);
    };
    std::bitset<std::size_t{1} << hashBits> known;
    for (std::size_t end = 2; end < at; ++end) {
        known.set(slotOf(end));
    }
    std::size_t unknown = 0;
    for (std::size_t end = std::max(at, std::size_t{2}); end < text.size(); ++end) {
        unknown += known.test(slotOf(end)) ? 0U : 1U;
    }
    return unknown * 3 >= text.size() - at;
}

bool SeamSearch::IsListAt(std::int64_t border) {
    constexpr std::int64_t looked = 256;
    const std::int64_t start = std::max(from_, border - looked);
    return IsInList(Copy(start, std::min(border + looked, run_.printableEnd)),
                    static_cast<std::size_t>(border - start));
}

// True if a letter is followed at the border by a mark that files open with.
bool SeamSearch::OpensInWord(std::int64_t border) {
    constexpr std::string_view marks[] = {"# ", "#!", "/*", "//", "<!--", "%%", "---"};
    constexpr std::size_t longest = 4;
    const ByteSpan bytes = file_.At(border - 1, 1 + longest);
    return bytes.size() == 1 + longest && IsLetter(bytes[0]) &&
           std::ranges::any_of(marks, [opening = bytes.subspan(1)](std::string_view mark) {
               return std::equal(mark.begin(), mark.end(), opening.begin());
           });
}

// The odds that other text begins at the border, by how well the text before predicts it.
double SeamSearch::OddsAt(std::int64_t border) {
    constexpr std::size_t join = 6;
    --comparisonsLeft_;
    const std::int64_t start = std::max(from_, border - Learned);
    const std::vector<std::uint8_t> text = Copy(start, std::min(border + Compared, run_.printableEnd));
    const auto at = static_cast<std::size_t>(border - start);
    Models& models = SharedModels();
    for (std::size_t i = 0; i < at; ++i) {
        models.known.Learn(text, i);
    }
    const std::size_t length = text.size() - at;
    const std::size_t joined = std::min(join, length);
    const double savedAtJoin = BitsSavedBehind(models, text, at, 0, joined);
    const double saved = savedAtJoin + BitsSavedBehind(models, text, at, joined, length - joined);
    models.known.Forget();
    models.fresh.Forget();
    return -0.115 * saved / std::sqrt(static_cast<double>(length)) - 0.12 * savedAtJoin;
}

// Where, after `start`, another text most likely begins that goes on to `end`. The text before is taken forwards with
// what was learned of it, the text after it backwards with nothing learned: the bits that two texts take show how
// likely a seam is; where, they show together with the lines.
End SeamSearch::BestEnd(std::int64_t start, std::int64_t end) {
    const std::int64_t first = std::max(from_, start - Learned);
    const std::vector<std::uint8_t> text = Copy(first, end);
    const auto begin = static_cast<std::size_t>(std::max(start, from_) - first);
    const std::vector<double> saved = SavedBits(text, begin);
    SeamLines lines(text);
    double highest = LeastOdds;
    std::size_t best = 0;
    for (std::size_t i = 0; i + LeastBehind <= text.size(); ++i) {
        if (saved[i] == NotSearched) {
            lines.Pass(i);
            continue;
        }
        const double place = lines.Take(i) + OddsOfBits(saved, begin, i);
        if (place > highest && !IsInList(text, i)) {
            highest = place;
            best = i;
        }
    }
    if (best == 0) {
        return {end, LeastOdds};
    }
    return {first + static_cast<std::int64_t>(best), OddsOfSeam(highest, text.size() - best)};
}

}  // namespace

void EndAtSeam(Place& file, std::int64_t from, TextRun& run, bool isPiece) {
    if (const auto end = SeamSearch(file, from, run, isPiece).Find()) {
        run.end = *end;
        run.printableEnd = *end;
        run.behind = TextRun::Behind::OtherFile;
    }
}

}  // namespace salvor
