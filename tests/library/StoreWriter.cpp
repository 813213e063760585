// Saves the big library over and over, one generation after the other, and
// reports each finished save on standard output, until it is killed.
#include "BigLibrary.h"
#include "LibraryStore.h"

#include <QCoreApplication>

#include <cstdio>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() != 3)
        return 2;
    const LibraryStore store(args.at(1));
    for (qint64 generation = args.at(2).toLongLong();; ++generation) {
        if (const Status saved = store.save(BigLibrary::make(generation)); !saved) {
            std::fprintf(stderr, "%s\n", qPrintable(saved.error()));
            return 1;
        }
        // Unbuffered, so that the parent knows about every save that finished.
        std::printf("%lld\n", static_cast<long long>(generation));
        std::fflush(stdout);
    }
}
