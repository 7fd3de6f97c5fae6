#include "host/validators/text/mail_fields.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "host/validators/text/text_bytes.h"

namespace salvor {

namespace {

constexpr std::size_t LongestName = 64;

constexpr auto EnvelopeLine = PatternOf("From ");

// Fields that begin with "X-" count as known too.
constexpr std::string_view KnownFields[] = {
    "approved",
    "arc-authentication-results",
    "arc-message-signature",
    "arc-seal",
    "authentication-results",
    "auto-submitted",
    "bcc",
    "cc",
    "content-class",
    "content-description",
    "content-disposition",
    "content-id",
    "content-language",
    "content-length",
    "content-location",
    "content-transfer-encoding",
    "content-type",
    "date",
    "delivered-to",
    "delivery-date",
    "disposition-notification-to",
    "dkim-signature",
    "domainkey-signature",
    "envelope-to",
    "errors-to",
    "feedback-id",
    "followup-to",
    "from",
    "importance",
    "in-reply-to",
    "lines",
    "list-archive",
    "list-help",
    "list-id",
    "list-post",
    "list-subscribe",
    "list-unsubscribe",
    "mail-followup-to",
    "mailing-list",
    "message-id",
    "mime-version",
    "newsgroups",
    "nntp-posting-date",
    "nntp-posting-host",
    "organisation",
    "organization",
    "path",
    "precedence",
    "priority",
    "received",
    "received-spf",
    "references",
    "reply-to",
    "resent-date",
    "resent-from",
    "resent-message-id",
    "resent-to",
    "return-path",
    "sender",
    "snapshot-content-location",
    "status",
    "subject",
    "thread-index",
    "thread-topic",
    "to",
    "user-agent",
    "xref",
};
static_assert(std::ranges::is_sorted(KnownFields));

constexpr char Lowered(std::uint8_t byte) { return static_cast<char>(byte >= 'A' && byte <= 'Z' ? byte + 0x20 : byte); }

}  // namespace

std::size_t FieldNameLength(ByteSpan line) {
    const ByteSpan searched = line.first(std::min(line.size(), LongestName));
    const auto isNameByte = [](std::uint8_t byte) {
        return byte > ' ' && byte < 0x7F && byte != ':';
    };
    const auto colon = std::ranges::find_if_not(searched, isNameByte);
    return colon == searched.end() || *colon != ':' || colon == searched.begin()
               ? 0
               : static_cast<std::size_t>(colon - searched.begin()) + 1;
}

bool IsKnownField(ByteSpan name) {
    std::string_view::value_type lowered[LongestName] = {};
    if (name.size() < 2 || name.size() > LongestName) {
        return false;
    }
    std::ranges::transform(name.first(name.size() - 1), lowered, Lowered);
    const std::string_view text(lowered, name.size() - 1);
    return text.starts_with("x-") || std::ranges::binary_search(KnownFields, text);
}

TextLine FirstLineOf(ByteSpan bytes) {
    const void* const feed = bytes.empty() ? nullptr : std::memchr(bytes.data(), '\n', bytes.size());
    const bool hasEnd = feed != nullptr;
    ByteSpan text = hasEnd ? ByteSpan(bytes.data(), static_cast<const std::uint8_t*>(feed)) : bytes;
    const std::size_t length = text.size() + (hasEnd ? 1 : 0);
    if (hasEnd && !text.empty() && text.back() == '\r') {
        text = text.first(text.size() - 1);
    }
    return {text, length, hasEnd};
}

bool BeginsLetter(ByteSpan head) {
    ByteSpan rest = head;
    if (StartsWith(rest, EnvelopeLine)) {
        rest = rest.subspan(FirstLineOf(rest).length);
    }
    int known = 0;
    for (bool isFirst = true; !rest.empty(); isFirst = false) {
        const TextLine line = FirstLineOf(rest);
        if (line.text.empty() && line.hasEnd) {
            break;
        }
        const bool isContinued = !isFirst && !rest.empty() && (rest[0] == ' ' || rest[0] == '\t');
        if (!isContinued) {
            const std::size_t name = FieldNameLength(rest);
            if (name == 0 && line.hasEnd) {
                return false;
            }
            known += IsKnownField(rest.first(name)) ? 1 : 0;
        }
        rest = rest.subspan(line.length);
    }
    return known >= 2;
}

}  // namespace salvor
