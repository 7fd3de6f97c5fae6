#include "host/medium/ewf_facts.h"

#include <fmt/format.h>
#include <libewf.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

namespace salvor {

namespace {

struct FreeHandle {
    void operator()(libewf_handle_t* handle) const { libewf_handle_free(&handle, nullptr); }
};
using Handle = std::unique_ptr<libewf_handle_t, FreeHandle>;

// Names of header values in the library, and what they are called here.
constexpr std::array<std::pair<std::string_view, std::string_view>, 10> Values{{
    {"case_number", "case number"},
    {"evidence_number", "evidence number"},
    {"description", "description"},
    {"examiner_name", "examiner"},
    {"notes", "notes"},
    {"acquiry_date", "acquired"},
    {"acquiry_operating_system", "acquired on"},
    {"acquiry_software_version", "acquired with"},
    {"model", "model"},
    {"serial_number", "serial number"},
}};

const std::uint8_t* BytesOf(std::string_view text) {
    return static_cast<const std::uint8_t*>(static_cast<const void*>(text.data()));
}

// Empty if there is none.
std::string HeaderValue(libewf_handle_t* handle, std::string_view name) {
    constexpr std::size_t longest = 64 << 10U;
    std::size_t size = 0;
    if (libewf_handle_get_utf8_header_value_size(handle, BytesOf(name), name.size(), &size, nullptr) != 1 ||
        size == 0 || size > longest) {
        return "";
    }
    std::string text(size, '\0');
    auto* const bytes = static_cast<std::uint8_t*>(static_cast<void*>(text.data()));
    if (libewf_handle_get_utf8_header_value(handle, BytesOf(name), name.size(), bytes, size, nullptr) != 1) {
        return "";
    }
    text.resize(std::min(text.find('\0'), text.size()));
    return text;
}

std::string Hex(std::span<const std::uint8_t> bytes) {
    std::string digits;
    for (const std::uint8_t byte : bytes) {
        digits += fmt::format("{:02x}", byte);
    }
    return digits;
}

template <std::size_t Size, class Get>
std::string DigestOf(libewf_handle_t* handle, Get get) {
    std::array<std::uint8_t, Size> digest{};
    return get(handle, digest.data(), digest.size(), nullptr) == 1 ? Hex(digest) : "";
}

}  // namespace

EwfFacts ReadEwfFacts(const std::vector<std::string>& segments) {
    // The library takes names that it could change, and does not.
    std::vector<std::string> names = segments;
    std::vector<char*> pointers;
    std::ranges::transform(names, std::back_inserter(pointers), [](std::string& name) { return name.data(); });

    libewf_handle_t* created = nullptr;
    if (libewf_handle_initialize(&created, nullptr) != 1) {
        return {};
    }
    const Handle handle(created);
    if (libewf_handle_open(handle.get(), pointers.data(), static_cast<int>(pointers.size()), LIBEWF_OPEN_READ,
                           nullptr) != 1) {
        return {};
    }
    EwfFacts facts;
    for (const auto& [name, label] : Values) {
        if (std::string text = HeaderValue(handle.get(), name); !text.empty()) {
            facts.acquisition.emplace_back(label, std::move(text));
        }
    }
    facts.md5 = DigestOf<16>(handle.get(), libewf_handle_get_md5_hash);
    facts.sha1 = DigestOf<20>(handle.get(), libewf_handle_get_sha1_hash);
    libewf_handle_close(handle.get(), nullptr);
    return facts;
}

}  // namespace salvor
