#include "SearchCommand.h"

#include "CliCommand.h"
#include "ToolOutput.h"

#include <QJsonArray>

int runSearchCommand(const QStringList &arguments)
{
    const QString usage = QStringLiteral("search SUCHTEXT [--limit N] [--json]");
    QStringList args = arguments;
    if (Cli::wantsHelp(args)) {
        Cli::out() << "Aufruf: pellmora-cli " << usage << "\n"
                   << "Sucht gespeicherte Tabs nach Bedeutung und Stichwörtern (Standard 10 Treffer, höchstens 50).\n";
        return 0;
    }
    const bool json = ToolOutput::takeJson(args);
    QJsonObject toolArgs;
    const qsizetype limitAt = args.indexOf(QStringLiteral("--limit"));
    if (limitAt >= 0) {
        bool ok = false;
        const qint64 limit = args.value(limitAt + 1).toLongLong(&ok);
        if (!ok)
            return Cli::usageError(usage, QStringLiteral("--limit braucht eine ganze Zahl"));
        toolArgs.insert(QStringLiteral("limit"), limit);
        args.remove(limitAt, 2);
    }
    if (args.size() != 1 || args.first().isEmpty() || args.first().startsWith(QStringLiteral("--")))
        return Cli::usageError(usage, args.isEmpty() ? QStringLiteral("Suchtext fehlt")
                                                     : QStringLiteral("Unerwartetes Argument: ") + args.last());
    toolArgs.insert(QStringLiteral("query"), args.first());
    return ToolOutput::call(QStringLiteral("search_tabs"), toolArgs, json, [](const QJsonValue &v) {
        const QJsonArray hits = v.toArray();
        if (hits.isEmpty()) {
            Cli::out() << "Keine Treffer.\n";
            return;
        }
        for (const auto &hit : hits) {
            Cli::out() << QString::number(hit[QStringLiteral("score")].toDouble(), 'f', 3) << "  ";
            ToolOutput::printTab(hit.toObject());
        }
    });
}
