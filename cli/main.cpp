#include "AskCommand.h"
#include "BackupsCommand.h"
#include "CliCommand.h"
#include "ExportCommand.h"
#include "HintsCommand.h"
#include "ImportCommand.h"
#include "ListCommand.h"
#include "McpCommand.h"
#include "NoteCommand.h"
#include "RemindCommand.h"
#include "RestoreCommand.h"
#include "SearchCommand.h"
#include "ShowCommand.h"
#include "SleepCommand.h"
#include "SummaryCommand.h"

#include <QLoggingCategory>
#include <QCoreApplication>

#include <algorithm>
#include <vector>

namespace {

const std::vector<CliCommand> &commands()
{
    static const std::vector<CliCommand> table = {
        {QStringLiteral("summary"), QStringLiteral("zeigt, was die Bibliothek enthält"),
         runSummaryCommand},
        {QStringLiteral("sleep"), QStringLiteral("legt die offenen Tabs des Browsers schlafen"), runSleepCommand},
        {QStringLiteral("search"), QStringLiteral("sucht gespeicherte Tabs"), runSearchCommand},
        {QStringLiteral("ask"), QStringLiteral("beantwortet eine Frage zu den gespeicherten Tabs"), runAskCommand},
        {QStringLiteral("list"), QStringLiteral("listet Tabs nach Thema, Fenster, Erinnerung oder Notiz"),
         runListCommand},
        {QStringLiteral("show"), QStringLiteral("zeigt einen Tab"), runShowCommand},
        {QStringLiteral("note"), QStringLiteral("setzt die Notiz eines Tabs"), runNoteCommand},
        {QStringLiteral("remind"), QStringLiteral("setzt eine Erinnerung"), runRemindCommand},
        {QStringLiteral("import"), QStringLiteral("übernimmt Tabs aus einer Liste, Lesezeichen oder einem Export"),
         runImportCommand},
        {QStringLiteral("export"), QStringLiteral("schreibt die Bibliothek als JSON, HTML, Liste oder Markdown"),
         runExportCommand},
        {QStringLiteral("hints"), QStringLiteral("sucht jetzt Hinweise auf Tabs zu deinen Projekten"),
         runHintsCommand},
        {QStringLiteral("context"), QStringLiteral("zeigt die Projekte aus deinen Ordnern und deinem Text"),
         runContextCommand},
        {QStringLiteral("backups"), QStringLiteral("listet die täglichen Sicherungen"), runBackupsCommand},
        {QStringLiteral("restore"), QStringLiteral("stellt eine Sicherung wieder her"), runRestoreCommand},
        {QStringLiteral("mcp"), QStringLiteral("startet den MCP-Server für KI-Assistenten"), runMcpCommand},
    };
    return table;
}

int overview(QTextStream &to)
{
    to << "Aufruf: pellmora-cli BEFEHL [ARGUMENTE]\n\nBefehle:\n";
    for (const CliCommand &command : commands())
        to << "  " << command.name.leftJustified(10) << command.synopsis << '\n';
    to << "\n\"pellmora-cli BEFEHL --help\" zeigt die Argumente eines Befehls.\n";
    to.flush();
    return 0;
}

} // namespace

int main(int argc, char *argv[])
{
    // The terminal shows the commands' German output only; the developers'
    // English log lines come when QT_LOGGING_RULES asks for them (those
    // rules take precedence over these).
    QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false\n*.info=false\npellmora.*.warning=false"));
    QCoreApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Pellmora"));
    QCoreApplication::setApplicationName(QStringLiteral("Pellmora"));

    QStringList args = app.arguments().mid(1);
    const QString name = args.isEmpty() ? QStringLiteral("summary") : args.takeFirst();
    if (name == u"--help" || name == u"-h" || name == u"help")
        return overview(Cli::out());

    const auto &table = commands();
    const auto it = std::find_if(table.begin(), table.end(),
                                 [&](const CliCommand &c) { return c.name == name; });
    if (it == table.end()) {
        Cli::err() << "Unbekannter Befehl: " << name << '\n';
        overview(Cli::err());
        return 2;
    }
    const int status = it->run(args);
    Cli::out().flush();
    Cli::err().flush();
    return status;
}
