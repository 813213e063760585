#include "McpCommand.h"

#include "CliCommand.h"
#include "EmbedderFactory.h"
#include "LibraryStore.h"
#include "MCPServer.h"

int runMcpCommand(const QStringList &args)
{
    const QString usage = QStringLiteral("mcp");
    if (Cli::wantsHelp(args)) {
        Cli::out() << "Aufruf: pellmora-cli " << usage << "\n"
                   << "Startet den MCP-Server für KI-Assistenten auf Standardein- und -ausgabe.\n"
                   << "Eintrag für die Konfiguration des Assistenten:\n"
                   << MCPServer::claudeConfigSnippet(MCPServer::defaultCliPath()) << '\n';
        return 0;
    }
    if (!args.isEmpty())
        return Cli::usageError(usage, QStringLiteral("Unbekanntes Argument: ") + args.first());
    Cli::out().flush();
    MCPServer server(LibraryStore::standard(), Clock::system(), [] { return EmbedderFactory::create(); });
    server.run();
    return 0;
}
