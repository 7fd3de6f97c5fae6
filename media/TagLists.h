#pragma once

#include <QList>
#include <QStringList>
#include <QtGlobal>
#include <cstdint>

/// The box types and brands of the ISO base media files. The lists are built in this order when the library is loaded,
/// destroyed in the opposite order when it is unloaded, and never change in between.
extern const QStringList ThreeGpBrands;
extern const QStringList M4aBrands;
extern const QStringList M4vBrands;
extern const QStringList QuickTimeBrands;
/// Codes as `BoxTypeOf` makes them.
extern const QList<quint32> TopLevelBoxTypes;

/// True if the four bytes at `brand`, taken as Latin-1 text, are in the list, without regard to letter case.
bool ContainsBrand(const QStringList& brands, const std::uint8_t* brand);
