#include "host/validators/text/text_seams.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <span>
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
// Less than this after a seam proves nothing.
constexpr std::size_t LeastBehind = 48;
// After the end of a cluster, this many bytes may be printable by chance.
constexpr std::int64_t ByChance = 24;
constexpr std::int64_t LargestCluster = 0x10000;
// For one text: how many borders are compared, and how many clusters searched. A hostile medium has more.
constexpr int MostComparisons = 1024;
constexpr int MostSearches = 64;
// Of ten thousand texts, only two in which this many lines end alike continue with this many that end otherwise.
constexpr int LinesBeforeChange = 4;
constexpr int LinesAfterChange = 3;

// The cost in bits of a seam where no line ends: few files end without a line end.
constexpr double BitsOfOpenLine = 16;
constexpr double HighestCost = 1e9;
constexpr double LeastWeight = -1e9;

// All odds are natural logarithms. The odds of a seam somewhere in a cluster that is full of text up to its last byte,
// in the middle of a line, before binary data.
constexpr double OddsOfFullCluster = 5;
constexpr double LeastOddsOfBorder = 1.5;
// For a seam in the middle of a cluster and one at its border together. Text before zeros is usually one file, and so
// is text that ends with a line.
constexpr double EnoughInFullCluster = 0.3;
constexpr double EnoughBeforeBinary = 6.5;
constexpr double EnoughBeforeBinaryWithLine = 9;
constexpr double EnoughBeforeZeros = 18;
// For the border alone, after a piece of a file.
constexpr double EnoughAfterPiece = 3;
// For a seam in the last cluster alone.
constexpr double EnoughInLastBeforeBinary = 1;
constexpr double EnoughInLast = 6;

bool IsLineEnd(std::uint8_t byte) { return byte == '\n' || byte == '\r'; }

const TextModel& AnyText() {
    static const TextModel model(false);
    return model;
}
const TextModel& AnyTextBackwards() {
    static const TextModel model(true);
    return model;
}

// True if the lines on both sides are single words, as in a list, which may continue where its words begin to differ.
bool IsInList(ByteSpan text, std::size_t at) {
    constexpr std::size_t looked = 256;
    constexpr std::size_t longestLine = 32;
    const auto isList = [](ByteSpan lines) {
        const auto isBlank = [](std::uint8_t byte) {
            return byte == ' ' || byte == '\t';
        };
        const auto count = static_cast<std::size_t>(std::ranges::count(lines, std::uint8_t{'\n'}));
        return count * longestLine >= lines.size() && std::ranges::none_of(lines, isBlank);
    };
    return at >= looked && isList(text.subspan(at - looked, looked)) &&
           isList(text.subspan(at, std::min(looked, text.size() - at)));
}

// How certain a seam is, as natural logarithm of the odds, if `length` bytes of text take `saved` bits fewer because of
// the `learned` bytes before them. A continued text saves about 25 bits times the root of its length, a foreign one
// none, both give or take ten.
double SeamOdds(double saved, std::size_t length, std::size_t learned) {
    const double root = std::sqrt(static_cast<double>(length));
    constexpr double half = 300;  // bytes that teach half of what there is to learn
    const double known = static_cast<double>(learned) / (static_cast<double>(learned) + half);
    const double usual = 25 * known;
    return std::clamp((usual / 2 - saved / root) * usual / 50, -15.0, 15.0);
}

// How likely it is, compared with other lines, that a text ends before this one. `length` bytes take `cost` bits more
// if another text begins here; `learned` bytes come before. Fitted to some hundred texts that are followed by others.
double WeightOf(const SeamSigns& signs, double cost, std::size_t learned, std::size_t length) {
    const auto behind = static_cast<double>(length);
    return -0.61 * cost / std::sqrt(behind) - 0.47 * signs.ownHead + 0.77 * signs.middle + (signs.closes ? 1.7 : 0) -
           (signs.isAfterBlankLine ? 1.6 : 0) - (signs.isAfterIndent ? 2.0 : 0) +
           2.5 * std::log2(static_cast<double>(learned)) + 1.4 * std::log2(behind);
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
    bool EndsAt(std::int64_t border) const { return run_.printableEnd - border <= (isBeforeBinary_ ? ByChance : 0); }

    std::optional<std::int64_t> EndBeforeOtherLineEnds();
    std::optional<std::int64_t> EndBefore(std::int64_t border);
    std::optional<std::int64_t> EndInLast(std::int64_t last);
    bool MayBeginAt(std::int64_t border);
    bool OpensInWord(std::int64_t border);
    double Enough(bool isFullCluster) const;
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

// The place, up to a cluster's end, where lines that end with "\r
// " are followed by lines that end with "
// ", or the other way round.
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
    const bool isEnd = EndsAt(border);
    const ByteSpan before = file_.At(border - 1, 1);
    if (before.empty() || searchesLeft_ == 0 || comparisonsLeft_ == 0) {
        return std::nullopt;
    }
    if (isEnd ? IsLineEnd(before[0]) : !isBeforeBinary_ && !MayBeginAt(border)) {
        return std::nullopt;
    }
    const double odds = isEnd ? OddsOfFullCluster : OddsAt(border);
    if (odds < LeastOddsOfBorder) {
        return std::nullopt;
    }
    --searchesLeft_;
    const End end = BestEnd(border - cluster_, border);
    if (end.odds + odds > Enough(isEnd)) {
        return end.at;
    }
    const bool isBorder = !isEnd && ((isPiece_ && odds > EnoughAfterPiece) || OpensInWord(border));
    return isBorder ? std::optional(border) : std::nullopt;
}

// The limit for two seams, the second at a border.
double SeamSearch::Enough(bool isFullCluster) const {
    if (isFullCluster && !isPiece_) {
        return OddsOfFullCluster + EnoughInFullCluster;
    }
    return !isBeforeBinary_ ? EnoughBeforeZeros : endsInLine_ ? EnoughBeforeBinary : EnoughBeforeBinaryWithLine;
}

std::optional<std::int64_t> SeamSearch::EndInLast(std::int64_t last) {
    if (!endsInLine_ || EndsAt(last)) {
        return std::nullopt;
    }
    const End end = BestEnd(last, run_.end);
    return end.odds > (isBeforeBinary_ ? EnoughInLastBeforeBinary : EnoughInLast) ? std::optional(end.at)
                                                                                  : std::nullopt;
}

// True if a file can begin at the border: its first byte must not continue the line before.
bool SeamSearch::MayBeginAt(std::int64_t border) {
    constexpr std::int64_t looked = 2048;
    const ByteSpan head = file_.From(border);
    if (head.empty() || !BeginsLikeFile(head)) {
        return false;
    }
    const std::vector<std::uint8_t> text = Copy(std::max(from_, border - looked), border + 1);
    const auto pair = std::span(text).last(2);
    return !IsLineEnd(pair[0]) && std::search(text.begin(), text.end(), pair.begin(), pair.end()) == text.end() - 2;
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

double SeamSearch::OddsAt(std::int64_t border) {
    --comparisonsLeft_;
    const std::int64_t start = std::max(from_, border - Learned);
    const std::int64_t end = std::min(border + Compared, run_.printableEnd);
    const std::vector<std::uint8_t> text = Copy(start, end);
    const auto at = static_cast<std::size_t>(border - start);
    auto known = std::make_unique<TextModel>(AnyText());
    for (std::size_t i = 0; i < at; ++i) {
        known->Learn(text, i);
    }
    auto fresh = std::make_unique<TextModel>(AnyText());
    double saved = 0;
    const ByteSpan behind = ByteSpan(text).subspan(at);
    for (std::size_t i = 0; i < behind.size(); ++i) {
        saved += fresh->Take(behind, i) - known->Take(text, at + i);
    }
    return SeamOdds(saved, behind.size(), at);
}

// Where, after `start`, another text most likely begins that goes on to `end`. The text before is taken forwards with
// what was learned of it, the text after it backwards with nothing learned: the bits that two texts take show how
// likely a seam is, and the lines where.
End SeamSearch::BestEnd(std::int64_t start, std::int64_t end) {
    const std::int64_t first = std::max(from_, start - Learned);
    const std::vector<std::uint8_t> text = Copy(first, end);
    const auto begin = static_cast<std::size_t>(std::max(start - first, std::int64_t{1}));
    auto known = std::make_unique<TextModel>(AnyText());
    std::vector<double> bits(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (i < begin) {
            known->Learn(text, i);
        } else {
            bits[i] = known->Take(text, i);
        }
    }
    const std::vector<std::uint8_t> reversed(text.rbegin(), text.rend());
    auto fresh = std::make_unique<TextModel>(AnyTextBackwards());
    // By the start of the other text: how many more bits the two texts take than one.
    std::vector<double> costs(text.size(), HighestCost);
    End best{end, 0};
    double saved = 0;
    for (std::size_t i = text.size(); i-- > begin;) {
        saved += fresh->Take(reversed, text.size() - 1 - i) - bits[i];
        const std::size_t length = text.size() - i;
        if (length >= LeastBehind && (text[i - 1] != '\r' || text[i] != '\n') && !IsInList(text, i)) {
            costs[i] = saved + (IsLineEnd(text[i - 1]) ? 0 : BitsOfOpenLine);
            best.odds = std::max(best.odds, SeamOdds(costs[i], length, i));
        }
    }
    double highest = LeastWeight;
    SeamLines lines(text);
    for (std::size_t i = 1; i < text.size(); ++i) {
        const std::optional<SeamSigns> signs = lines.Take(i - 1);
        if (signs && i >= begin && costs[i] < HighestCost) {
            const double weight = WeightOf(*signs, costs[i], i, text.size() - i);
            if (weight > highest) {
                highest = weight;
                best.at = first + static_cast<std::int64_t>(i);
            }
        }
    }
    return best;
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
