// The MCP server's message handling: any lines from an assistant give one
// JSON-RPC line each (or none), and the library file stays readable.
#include "FakeClock.h"
#include "FuzzSupport.h"
#include "LibraryCodec.h"
#include "MCPServer.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

// At most this many lines of one input are handled, so that an input of many
// short lines cannot stand for a slow server.
constexpr int maxLines = 64;

QUuid numbered(uint n)
{
    return QUuid(n, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0);
}

// Three tabs in one window and one topic; the ids are 0000000N-0000-...
QByteArray seedLibrary()
{
    LibraryData d;
    const QDateTime saved = QDateTime::fromSecsSinceEpoch(1763321465, Qt::UTC);
    SavedWindow window;
    window.id = numbered(100);
    window.title = QStringLiteral("Fenster 1");
    window.savedAt = saved;
    Topic topic;
    topic.id = numbered(200);
    topic.name = QStringLiteral("Reisen");
    for (uint i = 1; i <= 3; ++i) {
        SavedTab t;
        t.id = numbered(i);
        t.url = QStringLiteral("https://www.beispiel.ch/seite-%1").arg(i);
        t.domain = SavedTab::domainOf(t.url);
        t.title = QStringLiteral("Zugreise durch die Schweiz, Teil %1").arg(i);
        t.text = QStringLiteral("Mit dem Zug über den Gotthard nach Lugano. ").repeated(int(i));
        t.summary = QStringLiteral("Eine Reise, Teil %1.").arg(i);
        t.savedAt = saved.addDays(-qint64(i) * 3);
        t.windowId = window.id;
        t.windowIndex = 1;
        t.tabIndex = i;
        t.topicId = topic.id;
        t.tags = {QStringLiteral("reise")};
        window.tabIds.append(t.id);
        topic.tabIds.append(t.id);
        d.tabs.append(t);
    }
    d.windows = {window};
    d.topics = {topic};
    return LibraryCodec::encode(d).value();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const QByteArray seed = seedLibrary();
    static const QString path = FuzzSupport::scratchFolder() + QStringLiteral("/library.json");
    static const FakeClock clock(QDateTime::fromSecsSinceEpoch(1763321465, Qt::UTC));
    {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(seed) != seed.size())
            FuzzSupport::fail("scratch library cannot be written");
    }

    MCPServer server{LibraryStore(path), clock};
    const QList<QByteArray> lines = FuzzSupport::bytes(data, size).split('\n');
    for (qsizetype i = 0; i < lines.size() && i < maxLines; ++i) {
        const auto answer = server.handle(QString::fromUtf8(lines[i]));
        if (!answer)
            continue;
        if (answer->contains(u'\n') || answer->contains(u'\r'))
            FuzzSupport::fail("a reply spans more than one line");
        QJsonParseError error;
        const QJsonDocument doc = QJsonDocument::fromJson(answer->toUtf8(), &error);
        if (error.error != QJsonParseError::NoError || !doc.isObject())
            FuzzSupport::fail("a reply is not a JSON object");
        if (doc.object().value(QStringLiteral("jsonrpc")).toString() != u"2.0")
            FuzzSupport::fail("a reply is not JSON-RPC 2.0");
    }

    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        FuzzSupport::fail("the library file is gone");
    if (!LibraryCodec::decode(file.readAll(), clock.now()))
        FuzzSupport::fail("the server left a library file it cannot read");
    return 0;
}
