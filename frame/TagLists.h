#pragma once

#include <QList>
#include <QStringList>
#include <QtGlobal>
#include <array>
#include <bit>
#include <cstdint>

/// The box types and brands of the ISO base media files. The lists are built in this order when the library is loaded,
/// destroyed in the opposite order when it is unloaded, and never change in between.
extern const QStringList ThreeGpBrands;
extern const QStringList M4aBrands;
extern const QStringList M4vBrands;
extern const QStringList QuickTimeBrands;
/// Each code is the value whose bytes in memory are the four characters in file order.
extern const QList<quint32> TopLevelBoxTypes;

/// Such a code.
constexpr std::uint32_t BoxTypeOf(const char (&text)[5]) {
    return std::bit_cast<std::uint32_t>(std::array<char, 4>{text[0], text[1], text[2], text[3]});
}

/// True if the four bytes at `brand`, taken as Latin-1 text, are in the list, without regard to letter case.
bool ContainsBrand(const QStringList& brands, const std::uint8_t* brand);
