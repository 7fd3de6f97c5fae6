#include "host/validators/text/text_model.h"

#include <algorithm>
#include <limits>
#include <string_view>
#include <vector>

#include "host/validators/text/text_bytes.h"

namespace salvor {

namespace {

// Lines of the most frequent kinds of text on disks.
constexpr std::string_view CommonText =
    "The program is free software; you can use it under the terms of the license. This file is part of the package and "
    "was\nwritten for those who want to know what has changed in the new version, when and why. All rights reserved.\n"
    "Copyright (C) 2005-2019 by the authors and others.\n\n"
    "  * New release (closes: #123456). Fix the build with current compilers; thanks to all who have sent patches.\n"
    "    - Update the translations and the manual page, bump the version to 1.2.3.\n\n"
    " -- John Smith <john@example.org>  Mon, 12 Jan 2009 20:15:30 +0100\n\n"
    "#include <stdio.h>\nint main(int argc, char *argv[])\n{\n    for (int i = 0; i < size; i++) {\n"
    "        if (value == NULL)\n            return false;\n    }\n}\n"
    "/* ----------------------------------------------------- */\n// static const char *name = \"string\";\n"
    "<p class=\"text\"><a href=\"http://www.example.com/index.html\">title</a></p>\n"
    "<tr><td align=\"left\">&nbsp;</td></tr>\n<div id=\"content\" style=\"color: #ff0000; width: 100px\">\n"
    "def function(self, name):\n        self.value = name['key']\n    import os\n  \"name\": \"value\",\n"
    "  \"list\": [0.5, 12, 345, 67890],\nmsgid \"error: could not open the file\"\nmsgstr \"\"\n"
    "\\section{Introduction}\nuse strict; my $var = shift; print \"$var\\n\";\n"
    "if [ -f \"$file\" ]; then echo $PATH; fi\n";

// How many observations the less specific estimate counts for, by the number of preceding bytes.
constexpr std::array<double, 2> WeightOfLess = {3, 2};

// How often each byte occurs in any text.
constexpr std::array<double, 256> UsualShares = [] {
    std::array<double, 256> shares{};
    for (std::size_t byte = 0; byte < shares.size(); ++byte) {
        const double printable = 1.0 / 130;
        const double high = 0.2 / 256;
        const double control = 0.01 / 256;
        shares[byte] = byte >= 0x80 ? high : IsPlainByte(static_cast<std::uint8_t>(byte)) ? printable : control;
    }
    return shares;
}();

std::uint32_t Slot(std::uint32_t key, unsigned bits) { return key * 2654435761U >> (32U - bits); }

std::uint32_t WithSymbol(std::uint32_t context, std::uint8_t symbol) { return (context ^ 0x9E3779U) * 257U + symbol; }

}  // namespace

TextModel::TextModel(bool isBackwards) {
    std::vector<std::uint8_t> common(CommonText.begin(), CommonText.end());
    if (isBackwards) {
        std::ranges::reverse(common);
    }
    for (std::size_t i = 0; i < common.size(); ++i) {
        Learn(common, i);
    }
    counted_.clear();
}

std::array<TextModel::Slots, TextModel::Orders> TextModel::SlotsAt(ByteSpan text, std::size_t at) {
    std::array<Slots, Orders> slots;
    // The bytes before `at`; zeros where there are none.
    std::uint32_t context = 0;
    for (std::uint32_t i = 0; i < Orders; ++i) {
        context = context << 8U | (at > i ? text[at - 1 - i] : 0U);
        slots[i] = {2 * i << SlotBits | Slot(context, SlotBits),
                    (2 * i + 1) << SlotBits | Slot(WithSymbol(context, text[at]), SlotBits)};
    }
    return slots;
}

void TextModel::Learn(const std::array<Slots, Orders>& slots) {
    for (const Slots& one : slots) {
        Count(one.context);
        Count(one.symbol);
    }
}

void TextModel::Learn(ByteSpan text, std::size_t at) { Learn(SlotsAt(text, at)); }

void TextModel::Count(std::uint32_t slot) {
    if (counts_[slot] < std::numeric_limits<std::uint16_t>::max()) {
        ++counts_[slot];
        counted_.push_back(slot);
    }
}

void TextModel::Forget() {
    for (const std::uint32_t slot : counted_) {
        --counts_[slot];
    }
    counted_.clear();
}

double TextModel::Take(ByteSpan text, std::size_t at) {
    const std::array<Slots, Orders> slots = SlotsAt(text, at);
    double share = UsualShares[text[at]];
    for (std::size_t i = 0; i < Orders; ++i) {
        const double all = counts_[slots[i].context];
        const double same = counts_[slots[i].symbol];
        share = (same + WeightOfLess[i] * share) / (all + WeightOfLess[i]);
    }
    Learn(slots);
    return share;
}

}  // namespace salvor
