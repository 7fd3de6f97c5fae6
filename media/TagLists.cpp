#include "media/TagLists.h"

#include <QString>
#include <cstring>

const QStringList ThreeGpBrands{
    QStringLiteral("3ge6"), QStringLiteral("3ge7"), QStringLiteral("3gg6"), QStringLiteral("3gp1"),
    QStringLiteral("3gp2"), QStringLiteral("3gp3"), QStringLiteral("3gp4"), QStringLiteral("3gp5"),
    QStringLiteral("3gp6"), QStringLiteral("3gs6"), QStringLiteral("3gs7"), QStringLiteral("mmp4"),
    QStringLiteral("3g2a"), QStringLiteral("3g2b"), QStringLiteral("3g2c"), QStringLiteral("KDDI"),
    QStringLiteral("3gp7"), QStringLiteral("3gp8"), QStringLiteral("3gr6"), QStringLiteral("3gt8"),
    QStringLiteral("3gt9"), QStringLiteral("3gh9")};
const QStringList M4aBrands{QStringLiteral("m4a ")};
const QStringList M4vBrands{QStringLiteral("m4v ")};
const QStringList QuickTimeBrands{QStringLiteral("qt  "), QStringLiteral("mqt ")};
const QList<quint32> TopLevelBoxTypes{BoxTypeOf("moov"), BoxTypeOf("mdat"), BoxTypeOf("free"),
                                      BoxTypeOf("skip"), BoxTypeOf("wide"), BoxTypeOf("pnot")};

bool ContainsBrand(const QStringList& brands, const std::uint8_t* brand) {
    char text[4];
    std::memcpy(text, brand, sizeof(text));
    return brands.contains(QString::fromLatin1(text, sizeof(text)), Qt::CaseInsensitive);
}
