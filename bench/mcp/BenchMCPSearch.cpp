// search_tabs through a running `pellmora-cli mcp`, end to end: the request
// line in, the library file read, the ranked reply line out.
#include "BenchTable.h"
#include "Embedder.h"
#include "LibraryStore.h"

#include <QCoreApplication>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>

namespace {

const QStringList words = {
    "Zug", "Fahrplan", "Rezept", "Kartoffeln", "Wanderung", "Berge", "Steuern", "Versicherung",
    "Kamera", "Objektiv", "Swift", "Compiler", "Hotel", "Flug", "Budget", "Aktien", "Garten",
    "Velo", "Konzert", "Museum", "Sprache", "Kurs", "Wohnung", "Miete", "Rechnung", "Büro"};

QString phrase(QRandomGenerator &rng, int count)
{
    QStringList out;
    for (int i = 0; i < count; ++i)
        out << words.at(rng.bounded(int(words.size())));
    return out.join(u' ');
}

LibraryData library(int tabs)
{
    QRandomGenerator rng(42);
    LibraryData data;
    const QDateTime base(QDate(2026, 11, 1), QTime(8, 0), Qt::UTC);
    for (int i = 0; i < tabs; ++i) {
        SavedTab tab;
        tab.id = QUuid::createUuid();
        tab.domain = QStringLiteral("site%1.ch").arg(i % 300);
        tab.url = QStringLiteral("https://%1/seite/%2").arg(tab.domain).arg(i);
        tab.title = phrase(rng, 5);
        tab.summary = phrase(rng, 14);
        tab.text = phrase(rng, 150);
        tab.tags = {words.at(rng.bounded(int(words.size())))};
        tab.savedAt = base.addSecs(-i * 600);
        data.tabs.append(tab);
    }
    // The application stores every tab's vector in the file; so does this one.
    Embedder(true).ensureEmbeddings(data);
    return data;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QTemporaryDir home;
    const LibraryStore store(home.path() + QStringLiteral("/Pellmora/library.json"));
    if (!store.save(library(10000)).ok())
        return 1;

    QProcess server;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("XDG_DATA_HOME"), home.path());
    server.setProcessEnvironment(env);
    server.start(QStringLiteral(PELLMORA_CLI_PATH), {QStringLiteral("mcp")});
    if (!server.waitForStarted())
        return 1;

    int id = 0;
    bool ok = true;
    const auto call = [&](const QString &query) {
        const QByteArray request =
            QStringLiteral("{\"jsonrpc\":\"2.0\",\"id\":%1,\"method\":\"tools/call\",\"params\":"
                           "{\"name\":\"search_tabs\",\"arguments\":{\"query\":\"%2\",\"limit\":10}}}\n")
                .arg(++id).arg(query).toUtf8();
        server.write(request);
        while (!server.canReadLine()) {
            if (!server.waitForReadyRead(30000)) {
                ok = false;
                return;
            }
        }
        ok = ok && server.readLine().contains("\"isError\":false");
    };
    const double search = Bench::medianMs(15, [&] { call(QStringLiteral("Wanderung Berge Hotel")); });
    const double rare = Bench::medianMs(15, [&] { call(QStringLiteral("Objektiv für die Kamera")); });
    server.closeWriteChannel();
    server.waitForFinished();
    if (!ok)
        return 1;
    return Bench::report(QStringLiteral("MCP-Server, 10'000 Tabs, pellmora-cli mcp"),
                         {{QStringLiteral("search_tabs (3 Wörter)"), search, QStringLiteral("ms"), 250},
                          {QStringLiteral("search_tabs (Satz)"), rare, QStringLiteral("ms"), 250}});
}
