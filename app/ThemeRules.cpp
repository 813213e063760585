#include "ThemeRules.h"

#include <QHash>

#include "SavedTab.h"
#include "TextCut.h"
#include "TopicPalette.h"

namespace {

struct NamedColor
{
    const char *name;
    int r, g, b;
};

constexpr NamedColor kNamed[] = {
    {"petrol", 14, 91, 91},     {"petrolSoft", 228, 241, 239}, {"ink", 29, 29, 31},
    {"secondary", 134, 134, 139}, {"sidebar", 238, 238, 241}, {"field", 242, 242, 245},
    {"line", 227, 227, 232},    {"red", 176, 48, 26},          {"green", 20, 107, 74},
    {"bubble", 240, 240, 243},
};

constexpr NamedColor kTopics[] = {
    {"gelb", 245, 195, 66},    {"blau", 91, 141, 239},   {"rot", 240, 122, 106},
    {"gruen", 126, 214, 126},  {"lila", 196, 138, 240},  {"orange", 242, 153, 74},
    {"petrol", 46, 139, 139},  {"rosa", 242, 154, 194},  {"braun", 176, 133, 96},
    {"tuerkis", 79, 195, 200}, {"oliv", 155, 168, 74},   {"indigo", 108, 108, 216},
};

const QColor kOtherTopic(196, 196, 200);

// The one discussion site whose chips show a lower-case "r".
const QString kRSitePrefix = QStringLiteral("reddit.");

QHash<QString, QColor> tableOf(const NamedColor *begin, const NamedColor *end)
{
    QHash<QString, QColor> table;
    for (auto it = begin; it != end; ++it)
        table.insert(QString::fromLatin1(it->name), QColor(it->r, it->g, it->b));
    return table;
}

QString sitePart(const QString &domain)
{
    const QStringList parts = domain.split(u'.');
    return parts.size() >= 2 ? parts.at(parts.size() - 2) : domain;
}

} // namespace

QColor ThemeRules::namedColor(const QString &name)
{
    static const QHash<QString, QColor> table = tableOf(std::begin(kNamed), std::end(kNamed));
    return table.value(name, QColor(Qt::black));
}

const QStringList &ThemeRules::colorNames()
{
    static const QStringList names = [] {
        QStringList list;
        for (const auto &c : kNamed)
            list.append(QString::fromLatin1(c.name));
        return list;
    }();
    return names;
}

QColor ThemeRules::topicColor(const QString &name)
{
    static const QHash<QString, QColor> table = [] {
        auto t = tableOf(std::begin(kTopics), std::end(kTopics));
        // The colour table and the keys the clusterer hands out must agree.
        for (const QString &key : TopicPalette::names())
            Q_ASSERT(t.contains(key));
        return t;
    }();
    return table.value(name, kOtherTopic);
}

QString ThemeRules::chipKey(const QString &domain)
{
    return sitePart(domain);
}

QString ThemeRules::chipLetter(const QString &domain, const QString &title)
{
    if (domain.startsWith(kRSitePrefix))
        return QStringLiteral("r");
    const QString source = domain.isEmpty() ? title : sitePart(domain);
    const QString first = TextCut::prefix(source, 1);
    return first.isEmpty() ? QStringLiteral("?") : first.toUpper();
}

QColor ThemeRules::chipColor(const QString &key)
{
    return chipPalette().at(chipPaletteIndex(key));
}

QString ThemeRules::chipKey(const SavedTab &tab)
{
    return chipKey(tab.domain);
}

QString ThemeRules::chipLetter(const SavedTab &tab)
{
    return chipLetter(tab.domain, tab.title);
}

int ThemeRules::chipPaletteIndex(const QString &key)
{
    if (key.isEmpty())
        return 1;
    return int(fnv1a(key.toUtf8()) % 10u);
}

const QList<QColor> &ThemeRules::chipPalette()
{
    static const QList<QColor> palette = {
        QColor(47, 125, 74),  QColor(224, 123, 36), QColor(58, 91, 214), QColor(90, 90, 94),
        QColor(14, 91, 91),   QColor(162, 59, 114), QColor(122, 79, 208), QColor(192, 57, 43),
        QColor(31, 138, 158), QColor(138, 109, 31),
    };
    return palette;
}

quint32 ThemeRules::fnv1a(const QByteArray &bytes)
{
    quint32 hash = 0x811c9dc5u;
    for (const char c : bytes) {
        hash ^= quint32(quint8(c));
        hash *= 0x01000193u;
    }
    return hash;
}
