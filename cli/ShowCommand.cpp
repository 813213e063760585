#include "ShowCommand.h"

#include "CliCommand.h"
#include "ToolOutput.h"

#include <QJsonArray>

int runShowCommand(const QStringList &arguments)
{
    const QString usage = QStringLiteral("show ID [--json]");
    QStringList args = arguments;
    if (Cli::wantsHelp(args)) {
        Cli::out() << "Aufruf: pellmora-cli " << usage << "\n"
                   << "Zeigt einen Tab mit Zusammenfassung, Notiz und Seitentext.\n";
        return 0;
    }
    const bool json = ToolOutput::takeJson(args);
    if (args.size() != 1)
        return Cli::usageError(usage, args.isEmpty() ? QStringLiteral("ID fehlt")
                                                     : QStringLiteral("Unerwartetes Argument: ") + args.last());
    return ToolOutput::call(QStringLiteral("get_tab"), {{QStringLiteral("id"), args.first()}}, json,
                            [](const QJsonValue &v) {
        const QJsonObject tab = v.toObject();
        QTextStream &out = Cli::out();
        const auto line = [&](const char *label, const QString &key) {
            if (tab.contains(key))
                out << QString::fromUtf8(label).leftJustified(15) << tab[key].toString() << '\n';
        };
        line("ID:", QStringLiteral("id"));
        line("Titel:", QStringLiteral("title"));
        line("Adresse:", QStringLiteral("url"));
        line("Gespeichert:", QStringLiteral("savedAt"));
        line("Thema:", QStringLiteral("topic"));
        line("Fenster:", QStringLiteral("window"));
        line("Notiz:", QStringLiteral("note"));
        line("Erinnerung:", QStringLiteral("reminderAt"));
        line("Zusammenfassung:", QStringLiteral("summary"));
        QStringList tags;
        for (const auto &t : tab[QStringLiteral("tags")].toArray())
            tags << t.toString();
        if (!tags.isEmpty())
            out << QStringLiteral("Stichwörter:").leftJustified(15) << tags.join(QStringLiteral(", ")) << '\n';
        out << '\n' << tab[QStringLiteral("text")].toString() << '\n';
    });
}
