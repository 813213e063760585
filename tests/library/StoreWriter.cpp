// Saves a large library over and over, one generation after the other, and
// reports each finished save on standard output, until it is killed. The
// generation stands at both ends of the file, in the context's free text and
// in the last tab's summary, so that a file mixing two saves shows.
#include "LibraryBuilder.h"
#include "LibraryStore.h"

#include <QCoreApplication>

#include <cstdio>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() != 3)
        return 2;
    LibraryBuilder builder;
    for (int n = 0; n < 1200; ++n)
        builder.tab(QStringLiteral("Artikel %1: Grüezi, «Zürich» 🌙").arg(n),
                    QStringLiteral("https://beispiel-%1.ch/artikel/%2?q=zürich").arg(n % 37).arg(n))
            .text(QStringLiteral("Ein längerer Text über Strassen, Brücken und Bahnhöfe. ").repeated(10))
            .vector(Vector(32, float(n) / 7.0f));
    LibraryData data = builder.build();
    const LibraryStore store(args.at(1));
    for (qint64 generation = args.at(2).toLongLong();; ++generation) {
        data.context.freeText = QString::number(generation);
        data.tabs.last().summary = QString::number(generation);
        if (const Status saved = store.save(data); !saved) {
            std::fprintf(stderr, "%s\n", qPrintable(saved.error()));
            return 1;
        }
        // Unbuffered, so that the parent knows about every save that finished.
        std::printf("%lld\n", static_cast<long long>(generation));
        std::fflush(stdout);
    }
}
