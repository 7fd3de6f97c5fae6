#include <fmt/format.h>

#include <array>
#include <string_view>

#include "host/report/report_format.h"
#include "host/say/say.h"

namespace salvor {

namespace {

constexpr std::string_view Names =
    "path,original_path,type,extension,verdict,why,size,start_sector,start_byte,pieces,sha256,unreadable_bytes,"
    "taken,width,height,title,camera,container,flags\r\n";

std::string Field(std::string_view text) {
    std::string field = Printable(text);
    // Spreadsheets execute fields that begin in this way.
    if (!field.empty() && std::string_view("=+-@").find(field.front()) != std::string_view::npos) {
        field.insert(0, 1, '\'');
    }
    if (field.find_first_of("\",") == std::string::npos) {
        return field;
    }
    std::string quoted = "\"";
    for (const char letter : field) {
        quoted += letter == '"' ? "\"\"" : std::string(1, letter);
    }
    return quoted + '"';
}

std::string Known(std::int64_t number) { return number == 0 ? "" : fmt::format("{}", number); }

std::string LineOf(const ReportedFile& file) {
    std::string flags;
    for (const std::string& flag : file.flags) {
        flags += (flags.empty() ? "" : "; ") + flag;
    }
    const std::array fields = {Field(file.path),
                               Field(file.original.path),
                               Field(file.typeName),
                               Field(file.extension),
                               std::string(VerdictName(file.verdict)),
                               Field(file.why),
                               fmt::format("{}", file.size),
                               fmt::format("{}", file.startSector),
                               fmt::format("{}", file.startByte),
                               fmt::format("{}", file.extents.size()),
                               Field(file.sha256),
                               fmt::format("{}", file.unreadableBytes),
                               Field(file.details.taken),
                               Known(file.details.width),
                               Known(file.details.height),
                               Field(file.details.title),
                               Field(file.details.camera),
                               Field(file.container),
                               Field(flags)};
    return fmt::format("{}\r\n", fmt::join(fields, ","));
}

}  // namespace

void WriteCsv(ReportReader& reader, const TextSink& sink) {
    sink(std::string(Names));
    for (ReportedFile file; reader.Next(file);) {
        sink(LineOf(file));
    }
}

}  // namespace salvor
