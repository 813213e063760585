#include "LibraryStore.h"
#include "TestSupport.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>
#include "TestRegistry.h"

namespace {

const QString note = QStringLiteral(
    "Apple Intelligence ist ausgeschaltet, darum zeige ich die besten Treffer ohne Begründung.");

SavedTab tab(const QString &title, const QString &url, const QString &summary, const QDateTime &savedAt)
{
    SavedTab t;
    t.id = QUuid::createUuid();
    t.title = title;
    t.url = url;
    t.domain = SavedTab::domainOf(url);
    t.summary = summary;
    t.savedAt = savedAt;
    return t;
}

} // namespace

class TestAskCommand : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_home;
    LibraryData m_data;

    // No model is configured, so every answer is the keyword fallback.
    TestSupport::ProcessResult cli(const QStringList &args)
    {
        return TestSupport::run(qEnvironmentVariable("PELLMORA_CLI"), args,
                                {{QStringLiteral("XDG_DATA_HOME"), m_home.path()},
                                 {QStringLiteral("PELLMORA_MODEL"), QString()},
                                 {QStringLiteral("PELLMORA_EMBED_MODEL"), QString()}});
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_home.isValid());
        const QDateTime day = QDateTime(QDate(2026, 11, 16), QTime(10, 0), Qt::UTC);
        m_data.tabs = {tab("Suppenrezept", "https://koch.ch/suppe", "Eine Suppe.", day),
                       tab("Objektiv für die Kamera", "https://foto.ch/objektiv", "Objektive\nim Vergleich.", day),
                       tab("Kamera kaufen", "https://foto.ch/kamera", "", day.addDays(1))};
        QVERIFY(LibraryStore(m_home.filePath(QStringLiteral("Pellmora/library.json"))).save(m_data).ok());
    }

    void fallbackLines()
    {
        const auto r = cli({QStringLiteral("ask"), QStringLiteral("  Kamera ")});
        QCOMPARE(r.err, QString());
        QCOMPARE(r.exitCode, 0);
        // The newer of two equal hits first; an empty summary gives the title.
        QCOMPARE(r.out, "2 Tabs passen am besten zu deiner Frage. " + note + "\n"
                            "Kamera kaufen  https://foto.ch/kamera  Kamera kaufen\n"
                            "Objektiv für die Kamera  https://foto.ch/objektiv  Objektive im Vergleich.\n");
    }

    void json()
    {
        const auto r = cli({QStringLiteral("ask"), QStringLiteral("--json"), QStringLiteral("Kamera")});
        QCOMPARE(r.exitCode, 0);
        QJsonParseError error;
        const QJsonObject answer = QJsonDocument::fromJson(r.out.toUtf8(), &error).object();
        QCOMPARE(error.error, QJsonParseError::NoError);
        QCOMPARE(answer.keys(), (QStringList{"byAI", "cards", "text"}));
        QCOMPARE(answer.value("text").toString(), "2 Tabs passen am besten zu deiner Frage. " + note);
        QCOMPARE(answer.value("byAI"), QJsonValue(false));
        const QJsonArray cards = answer.value("cards").toArray();
        QCOMPARE(cards.size(), 2);
        const QJsonObject second = cards.at(1).toObject();
        QCOMPARE(second.keys(), (QStringList{"id", "reason", "title", "url"}));
        QCOMPARE(second.value("id").toString(), idText(m_data.tabs.at(1).id));
        QCOMPARE(second.value("title").toString(), QStringLiteral("Objektiv für die Kamera"));
        QCOMPARE(second.value("url").toString(), QStringLiteral("https://foto.ch/objektiv"));
        QCOMPARE(second.value("reason").toString(), QStringLiteral("Objektive\nim Vergleich."));
    }

    void nothingFound()
    {
        const auto r = cli({QStringLiteral("ask"), QStringLiteral("Velotour")});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out, QStringLiteral("Dazu habe ich in deinen gespeicherten Tabs nichts gefunden.\n"));
    }

    void help()
    {
        const auto r = cli({QStringLiteral("ask"), QStringLiteral("--help")});
        QCOMPARE(r.exitCode, 0);
        QVERIFY(r.out.startsWith(QStringLiteral("Aufruf: pellmora-cli ask FRAGE [--json]\n")));
    }

    void usageErrors_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::newRow("no question") << QStringList{"ask"};
        QTest::newRow("only --json") << QStringList{"ask", "--json"};
        QTest::newRow("blank question") << QStringList{"ask", "   "};
        QTest::newRow("two questions") << QStringList{"ask", "Kamera", "Suppe"};
        QTest::newRow("unknown option") << QStringList{"ask", "--kurz", "Kamera"};
    }

    void usageErrors()
    {
        QFETCH(QStringList, args);
        const auto r = cli(args);
        QCOMPARE(r.exitCode, 2);
        QCOMPARE(r.out, QString());
        QVERIFY2(r.err.endsWith(QStringLiteral("Aufruf: pellmora-cli ask FRAGE [--json]\n")), qPrintable(r.err));
    }
};

PELLMORA_TEST_GUILESS_MAIN(TestAskCommand)
#include "TestAskCommand.moc"
