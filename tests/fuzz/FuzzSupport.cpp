#include "FuzzSupport.h"

#include <QDir>
#include <QString>
#include <QTemporaryDir>

#include <cstdio>
#include <cstdlib>

namespace FuzzSupport {

void fail(const char *what)
{
    std::fprintf(stderr, "fuzz: property broken: %s\n", what);
    std::abort();
}

const QString &scratchFolder()
{
    static QTemporaryDir dir(QDir(QStringLiteral("/dev/shm")).exists()
                                 ? QStringLiteral("/dev/shm/pellmora-fuzz-XXXXXX")
                                 : QDir::tempPath() + QStringLiteral("/pellmora-fuzz-XXXXXX"));
    static const QString path = dir.path();
    return path;
}

} // namespace FuzzSupport
