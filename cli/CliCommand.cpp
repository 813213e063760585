#include "CliCommand.h"

#include <cstdio>

namespace Cli {

QTextStream &out()
{
    static QTextStream stream(stdout);
    return stream;
}

QTextStream &err()
{
    static QTextStream stream(stderr);
    return stream;
}

int usageError(const QString &usage, const QString &problem)
{
    out().flush();
    if (!problem.isEmpty())
        err() << problem << '\n';
    err() << "Aufruf: pellmora-cli " << usage << Qt::endl;
    return 2;
}

bool wantsHelp(const QStringList &args)
{
    return args.contains(QStringLiteral("--help")) || args.contains(QStringLiteral("-h"));
}

} // namespace Cli
