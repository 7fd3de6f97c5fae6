#include "host/validators/text/text_model.h"

#include <algorithm>
#include <cmath>
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

// How often a byte occurs in any text.
double UsualShare(std::uint8_t byte) {
    const double printable = 1.0 / 130;
    const double high = 0.2 / 256;
    const double control = 0.01 / 256;
    return byte >= 0x80 ? high : IsPlainByte(byte) ? printable : control;
}

// The `count` bytes before `at`; zeros where there are none.
std::uint32_t Before(ByteSpan text, std::size_t at, std::size_t count) {
    std::uint32_t bytes = 0;
    for (std::size_t back = 1; back <= count; ++back) {
        bytes = bytes << 8U | (at >= back ? text[at - back] : 0U);
    }
    return bytes;
}

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

void TextModel::Learn(ByteSpan text, std::size_t at) {
    for (std::size_t i = 0; i < Orders; ++i) {
        const std::uint32_t context = Before(text, at, i + 1);
        Count(orders_[i].contexts[Slot(context, SlotBits)]);
        Count(orders_[i].symbols[Slot(WithSymbol(context, text[at]), SlotBits)]);
    }
}

void TextModel::Count(std::uint16_t& counter) {
    if (counter < std::numeric_limits<std::uint16_t>::max()) {
        ++counter;
        counted_.push_back(&counter);
    }
}

void TextModel::Forget() {
    for (std::uint16_t* const counter : counted_) {
        --*counter;
    }
    counted_.clear();
}

double TextModel::Share(ByteSpan text, std::size_t at) const {
    double share = UsualShare(text[at]);
    for (std::size_t i = 0; i < Orders; ++i) {
        const std::uint32_t context = Before(text, at, i + 1);
        const double all = orders_[i].contexts[Slot(context, SlotBits)];
        const double same = orders_[i].symbols[Slot(WithSymbol(context, text[at]), SlotBits)];
        share = (same + WeightOfLess[i] * share) / (all + WeightOfLess[i]);
    }
    return share;
}

double TextModel::Take(ByteSpan text, std::size_t at) {
    const double bits = -std::log2(Share(text, at));
    Learn(text, at);
    return bits;
}

}  // namespace salvor
