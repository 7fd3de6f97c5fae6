#pragma once

#include <QList>
#include <QStringList>
#include <QtGlobal>
#include <algorithm>
#include <array>
#include <cstdint>

#include "formats/BoxWalk.h"

/// The brands and box types of ISO base media files. The lists are built in this order when the library is loaded,
/// destroyed in the opposite order when it is unloaded, and never change in between.
extern const QStringList ThreeGpBrands;
extern const QStringList M4aBrands;
extern const QStringList M4vBrands;
extern const QStringList QuickTimeBrands;
/// The top-level atoms of QuickTime movies, as `BoxTypeOf` makes them.
extern const QList<quint32> TopLevelBoxTypes;

/// The top-level boxes of ISO base media files, those of fragmented files among them. Source: ISO/IEC 14496-12,
/// table 1.
inline constexpr std::array Mp4BoxTypes{BoxTypeOf("ftyp"), BoxTypeOf("pdin"), BoxTypeOf("moov"), BoxTypeOf("moof"),
                                        BoxTypeOf("mfra"), BoxTypeOf("mdat"), BoxTypeOf("free"), BoxTypeOf("frea"),
                                        BoxTypeOf("skip"), BoxTypeOf("meta"), BoxTypeOf("meco"), BoxTypeOf("uuid"),
                                        BoxTypeOf("styp"), BoxTypeOf("sidx"), BoxTypeOf("ssix"), BoxTypeOf("prft")};

inline bool IsMp4Box(std::uint32_t type) { return std::ranges::find(Mp4BoxTypes, type) != Mp4BoxTypes.end(); }

/// True if the four bytes at `brand`, taken as Latin-1 text, are in the list, without regard to letter case.
bool ContainsBrand(const QStringList& brands, const std::uint8_t* brand);
