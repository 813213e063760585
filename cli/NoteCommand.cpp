#include "NoteCommand.h"

#include "CliCommand.h"
#include "ToolOutput.h"

int runNoteCommand(const QStringList &arguments)
{
    const QString usage = QStringLiteral("note ID TEXT [--json]");
    QStringList args = arguments;
    if (Cli::wantsHelp(args)) {
        Cli::out() << "Aufruf: pellmora-cli " << usage << "\n"
                   << "Setzt die Notiz eines Tabs; ein leerer TEXT löscht sie.\n";
        return 0;
    }
    const bool json = ToolOutput::takeJson(args);
    if (args.size() != 2)
        return Cli::usageError(usage, QStringLiteral("ID und TEXT erwartet"));
    return ToolOutput::call(QStringLiteral("add_note"),
                            {{QStringLiteral("id"), args.at(0)}, {QStringLiteral("note"), args.at(1)}},
                            json, [](const QJsonValue &v) {
        Cli::out() << "Notiz gesetzt:\n";
        ToolOutput::printTab(v.toObject());
    });
}
