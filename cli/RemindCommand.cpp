#include "RemindCommand.h"

#include "CliCommand.h"
#include "Fmt.h"
#include "ToolOutput.h"

int runRemindCommand(const QStringList &arguments)
{
    const QString usage = QStringLiteral("remind ID DATUM [--json]");
    QStringList args = arguments;
    if (Cli::wantsHelp(args)) {
        Cli::out() << "Aufruf: pellmora-cli " << usage << "\n"
                   << "Setzt eine Erinnerung (ISO-8601-Datum, z. B. 2026-10-09T09:00:00+02:00).\n";
        return 0;
    }
    const bool json = ToolOutput::takeJson(args);
    if (args.size() != 2)
        return Cli::usageError(usage, QStringLiteral("ID und DATUM erwartet"));
    if (!Fmt::parseISO(args.at(1)))
        return Cli::usageError(usage, QStringLiteral("Ungültiges Datum: ") + args.at(1));
    return ToolOutput::call(QStringLiteral("set_reminder"),
                            {{QStringLiteral("id"), args.at(0)}, {QStringLiteral("iso_date"), args.at(1)}},
                            json, [](const QJsonValue &v) {
        const QJsonObject tab = v.toObject();
        const auto date = Fmt::parseISO(tab[QStringLiteral("reminderAt")].toString());
        Cli::out() << "Erinnerung gesetzt auf " << (date ? Fmt::full(*date) : QString()) << ":\n";
        ToolOutput::printTab(tab);
    });
}
