#include "TopicPalette.h"

namespace TopicPalette {

const QStringList &names()
{
    static const QStringList list = {
        QStringLiteral("gelb"),  QStringLiteral("blau"),   QStringLiteral("rot"),
        QStringLiteral("gruen"), QStringLiteral("lila"),   QStringLiteral("orange"),
        QStringLiteral("petrol"), QStringLiteral("rosa"),  QStringLiteral("braun"),
        QStringLiteral("tuerkis"), QStringLiteral("oliv"), QStringLiteral("indigo"),
    };
    return list;
}

} // namespace TopicPalette
