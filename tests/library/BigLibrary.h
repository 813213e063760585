#pragma once

#include "LibraryBuilder.h"

// A library large enough that saving it takes a while, its content fixed by
// a generation number, so that a reader can tell which save a file came from
// and compare it whole.
namespace BigLibrary {

inline const QString marker = QStringLiteral("Generation ");

inline LibraryData make(qint64 generation)
{
    static const LibraryData base = [] {
        LibraryBuilder builder;
        for (int n = 0; n < 1200; ++n) {
            if (n % 100 == 0)
                builder.window();
            builder.tab(QStringLiteral("Artikel %1: Grüezi, «Zürich» 🌙").arg(n),
                        QStringLiteral("https://beispiel-%1.ch/artikel/%2?q=zürich").arg(n % 37).arg(n))
                .text(QStringLiteral("Ein längerer Text über Strassen, Brücken und Bahnhöfe. ").repeated(10))
                .vector(Vector(32, float(n) / 7.0f));
        }
        return builder.build();
    }();
    LibraryData data = base;
    data.context.freeText = marker + QString::number(generation);
    // A piece far from the marker changes too, so that a file mixing two
    // saves could not pass for either.
    data.tabs.last().summary = QString::number(generation);
    return data;
}

// The generation of a library made by make(); -1 for any other.
inline qint64 generationOf(const LibraryData &data)
{
    bool ok = false;
    const qint64 generation = data.context.freeText.mid(marker.size()).toLongLong(&ok);
    return data.context.freeText.startsWith(marker) && ok ? generation : -1;
}

} // namespace BigLibrary
