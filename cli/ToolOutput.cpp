#include "ToolOutput.h"

#include "CliCommand.h"
#include "EmbedderFactory.h"
#include "JsonText.h"
#include "LibraryStore.h"
#include "MCPServer.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace ToolOutput {

int call(const QString &tool, const QJsonObject &arguments, bool json,
         const std::function<void(const QJsonValue &)> &printLines)
{
    MCPServer server(LibraryStore::standard(), Clock::system(), [] { return EmbedderFactory::create(); });
    const QJsonObject result = server.callTool(tool, arguments);
    const QString text = result.value(QStringLiteral("content")).toArray().at(0).toObject()
                             .value(QStringLiteral("text")).toString();
    if (result.value(QStringLiteral("isError")).toBool()) {
        Cli::err() << text << '\n';
        return 1;
    }
    if (json) {
        Cli::out() << text << '\n';
        return 0;
    }
    const QJsonDocument doc = QJsonDocument::fromJson(text.toUtf8());
    printLines(doc.isArray() ? QJsonValue(doc.array()) : QJsonValue(doc.object()));
    return 0;
}

bool takeJson(QStringList &args)
{
    return args.removeAll(QStringLiteral("--json")) > 0;
}

void printTab(const QJsonObject &brief)
{
    QTextStream &out = Cli::out();
    out << brief.value(QStringLiteral("id")).toString() << "  "
        << brief.value(QStringLiteral("title")).toString() << '\n'
        << "    " << brief.value(QStringLiteral("url")).toString() << '\n';
}

void printJson(const QJsonValue &value)
{
    Cli::out() << JsonText::pretty(value).value_or(QString()) << '\n';
}

} // namespace ToolOutput
