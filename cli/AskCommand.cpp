#include "AskCommand.h"

#include "Chat.h"
#include "CliCommand.h"
#include "Embedder.h"
#include "LibraryStore.h"
#include "EmbedderFactory.h"
#include "ToolOutput.h"

#include <QJsonArray>
#include <QJsonObject>

namespace {

// A reason is one line in the terminal, whatever the model wrote.
QString oneLine(QString text)
{
    text.replace(QLatin1Char('\r'), QLatin1Char(' '));
    text.replace(QLatin1Char('\n'), QLatin1Char(' '));
    return text;
}

QJsonObject toJson(const ChatAnswer &answer)
{
    QJsonArray cards;
    for (const ChatCard &card : answer.cards) {
        cards.append(QJsonObject{{QStringLiteral("id"), idText(card.id())},
                                 {QStringLiteral("title"), card.tab.title},
                                 {QStringLiteral("url"), card.tab.url},
                                 {QStringLiteral("reason"), card.reason}});
    }
    return {{QStringLiteral("text"), answer.text},
            {QStringLiteral("byAI"), answer.byAI},
            {QStringLiteral("cards"), cards}};
}

} // namespace

int runAskCommand(const QStringList &arguments)
{
    const QString usage = QStringLiteral("ask FRAGE [--json]");
    QStringList args = arguments;
    if (Cli::wantsHelp(args)) {
        Cli::out() << "Aufruf: pellmora-cli " << usage << "\n"
                   << "Beantwortet eine Frage zu den gespeicherten Tabs wie das Chatfenster: eine Antwort, "
                      "dann je Tab eine Zeile mit Titel, Adresse und Grund.\n";
        return 0;
    }
    const bool json = ToolOutput::takeJson(args);
    if (args.size() != 1 || args.first().startsWith(QStringLiteral("--")))
        return Cli::usageError(usage, args.isEmpty() ? QStringLiteral("Frage fehlt")
                                                     : QStringLiteral("Unerwartetes Argument: ") + args.last());
    const QString question = args.first().trimmed();
    if (question.isEmpty())
        return Cli::usageError(usage, QStringLiteral("Frage fehlt"));

    const LibraryData data = LibraryStore::standard().load();
    // The same vector space as the application's, so cached vectors count.
    const auto embedder = EmbedderFactory::create();
    const ChatAnswer answer = Chat(embedder).answer(question, data);

    if (json) {
        ToolOutput::printJson(toJson(answer));
        return 0;
    }
    QTextStream &out = Cli::out();
    out << answer.text << '\n';
    for (const ChatCard &card : answer.cards)
        out << oneLine(card.tab.title) << "  " << card.tab.url << "  " << oneLine(card.reason) << '\n';
    return 0;
}
