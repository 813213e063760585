#include "BigLibrary.h"

#include <QUuid>

namespace {

constexpr int tabCount = 1200;
constexpr int windowCount = 12;
const QString marker = QStringLiteral("Generation ");

QUuid numberedId(uint kind, uint n)
{
    return QUuid(kind, 0x1234, 0x5678, 0x9a, 0xbc, 0xde, 0xf0,
                 uchar(n >> 24), uchar(n >> 16), uchar(n >> 8), uchar(n));
}

const LibraryData &base()
{
    static const LibraryData data = [] {
        LibraryData d;
        const QDateTime start = QDateTime::fromSecsSinceEpoch(1763321465, Qt::UTC);
        for (int w = 0; w < windowCount; ++w) {
            SavedWindow window;
            window.id = numberedId(2, uint(w));
            window.title = QStringLiteral("Fenster %1 – Recherche").arg(w + 1);
            window.savedAt = start;
            d.windows.append(window);
        }
        for (int i = 0; i < tabCount; ++i) {
            SavedTab t;
            t.id = numberedId(1, uint(i));
            t.url = QStringLiteral("https://beispiel-%1.ch/artikel/%2?q=zürich&n=%2").arg(i % 37).arg(i);
            t.title = QStringLiteral("Artikel %1: Grüezi, «Zürich» 🌙").arg(i);
            t.domain = SavedTab::domainOf(t.url);
            t.savedAt = start.addSecs(i);
            t.windowId = d.windows[i % windowCount].id;
            t.windowIndex = i % windowCount + 1;
            t.tabIndex = i / windowCount + 1;
            t.text = QStringLiteral("Ein längerer Text über Strassen, Brücken und Bahnhöfe. ").repeated(10);
            t.summary = QStringLiteral("Zusammenfassung von Artikel %1.").arg(i);
            t.tags = {QStringLiteral("verkehr"), QStringLiteral("schweiz")};
            if (i % 5 == 0)
                t.note = QStringLiteral("Notiz \"%1\" mit \\ und / und \n Zeilenumbruch").arg(i);
            if (i % 7 == 0)
                t.reminderAt = start.addDays(3);
            d.windows[i % windowCount].tabIds.append(t.id);
            d.tabs.append(t);
            if (i % 4 == 0) {
                Vector v;
                for (int k = 0; k < 32; ++k)
                    v.append(float(k - 16) / float(i + 3));
                d.embeddings.insert(idText(t.id), v);
            }
        }
        d.embedderKind = QStringLiteral("hashed");
        return d;
    }();
    return data;
}

} // namespace

namespace BigLibrary {

LibraryData make(qint64 generation)
{
    LibraryData d = base();
    d.context.freeText = marker + QString::number(generation);
    // Change a piece far from the marker too, so that a file mixing two saves
    // could not pass for either.
    d.tabs.last().summary = QStringLiteral("Letzter Tab, Generation %1").arg(generation);
    return d;
}

qint64 generationOf(const LibraryData &data)
{
    if (!data.context.freeText.startsWith(marker))
        return -1;
    bool ok = false;
    const qint64 generation = data.context.freeText.mid(marker.size()).toLongLong(&ok);
    return ok ? generation : -1;
}

} // namespace BigLibrary
