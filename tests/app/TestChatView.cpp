#include <QDir>
#include <QQuickItem>
#include <QQuickView>
#include <QTest>

#include "AppModelFixture.h"
#include "ChatModel.h"
#include "ChatRules.h"
#include "Fmt.h"
#include "ViewHarness.h"
#include "ModelConfig.h"
#include "PlatformWords.h"
#include "TestRegistry.h"

// The chat window over a model with fakes: the intro, questions and answers
// with their cards and actions, the reminder date, and the question field.
class TestChatView : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void openLabel_data();
    void openLabel();
    void nextMonday_data();
    void nextMonday();
    void savedLine_data();
    void savedLine();

    void introOnlyWhileEmpty();
    void introWithTheModel();
    void answerShowsItsCards_data();
    void answerShowsItsCards();
    void remindSetsNextMondayOnEveryTab();
    void openActionsOpenInCardOrder();
    void askButtonFollowsTheField();
    void returnSendsAndEmptiesTheField();
    void busyRowWhileAnswering();
    void scrollsToTheNewestEntry();
    void opensAtTheNewestEntry();

private:
    QList<SavedTab> addTabs(int count);
    void appendAnswer(const QList<SavedTab> &tabs, const QString &text = QStringLiteral("Diese passen."));

    std::unique_ptr<AppModelFixture> m_fixture;
    std::unique_ptr<ViewHarness> m_harness;
};

namespace {

QDateTime local(int y, int m, int d, int h, int min)
{
    return QDateTime(QDate(y, m, d), QTime(h, min), Qt::LocalTime);
}

} // namespace

void TestChatView::init()
{
    m_fixture = std::make_unique<AppModelFixture>();
    m_harness = std::make_unique<ViewHarness>(m_fixture->model());
}

void TestChatView::cleanup()
{
    m_harness.reset();
    m_fixture.reset();
}

QList<SavedTab> TestChatView::addTabs(int count)
{
    QList<SavedTab> tabs;
    const QDateTime saved = local(2026, 11, 3, 14, 0);
    for (int i = 0; i < count; ++i) {
        SavedTab tab = AppModelFixture::tab(QStringLiteral("Rust Buch %1").arg(i + 1), saved, i,
                                            QStringLiteral("https://doc.rust-lang.org/book/%1").arg(i + 1));
        if (i == 1)
            tab.readAt = local(2026, 11, 4, 9, 0);
        tabs << tab;
    }
    m_fixture->library().mutate([&](LibraryData &data) { data.tabs << tabs; });
    return tabs;
}

void TestChatView::appendAnswer(const QList<SavedTab> &tabs, const QString &text)
{
    ChatMessage message;
    message.id = QUuid::createUuid();
    message.role = ChatMessage::Role::assistant;
    message.text = text;
    for (const SavedTab &tab : tabs)
        message.cards << ChatCard{tab, QStringLiteral("Passt, weil es um %1 geht.").arg(tab.title)};
    m_fixture->model().chatModel()->append(message);
}

void TestChatView::openLabel_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<QString>("label");
    QTest::newRow("one") << 1 << "Öffnen";
    QTest::newRow("two") << 2 << "Beide öffnen";
    QTest::newRow("three") << 3 << "Alle drei öffnen";
    QTest::newRow("four") << 4 << "Alle 4 öffnen";
    QTest::newRow("twelve") << 12 << "Alle 12 öffnen";
    QTest::newRow("none") << 0 << "Alle 0 öffnen";
}

void TestChatView::openLabel()
{
    QFETCH(int, count);
    QFETCH(QString, label);
    QCOMPARE(ChatRules::openLabel(count), label);
}

void TestChatView::nextMonday_data()
{
    QTest::addColumn<QDateTime>("now");
    QTest::addColumn<QDateTime>("expected");
    QTest::addColumn<QString>("label");

    // 23.11.2026 is a Monday.
    QTest::newRow("monday before nine") << local(2026, 11, 23, 8, 59) << local(2026, 11, 23, 9, 0)
                                        << "→ Erinnere mich Mo. 23.11. 09:00";
    QTest::newRow("monday at nine") << local(2026, 11, 23, 9, 0) << local(2026, 11, 30, 9, 0)
                                    << "→ Erinnere mich Mo. 30.11. 09:00";
    QTest::newRow("monday at midnight") << local(2026, 11, 23, 0, 0) << local(2026, 11, 23, 9, 0)
                                        << "→ Erinnere mich Mo. 23.11. 09:00";
    QTest::newRow("sunday night") << local(2026, 11, 22, 23, 30) << local(2026, 11, 23, 9, 0)
                                  << "→ Erinnere mich Mo. 23.11. 09:00";
    QTest::newRow("wednesday") << local(2026, 11, 25, 12, 0) << local(2026, 11, 30, 9, 0)
                               << "→ Erinnere mich Mo. 30.11. 09:00";
    QTest::newRow("across the year") << local(2026, 12, 29, 10, 0) << local(2027, 1, 4, 9, 0)
                                     << "→ Erinnere mich Mo. 04.01. 09:00";
    // The clocks go forward on Sunday 29.03.2026; nine o'clock stays local.
    QTest::newRow("summer time starts") << local(2026, 3, 28, 12, 0) << local(2026, 3, 30, 9, 0)
                                        << "→ Erinnere mich Mo. 30.03. 09:00";
    QTest::newRow("given in utc") << local(2026, 11, 23, 8, 30).toUTC() << local(2026, 11, 23, 9, 0)
                                  << "→ Erinnere mich Mo. 23.11. 09:00";
}

void TestChatView::nextMonday()
{
    QFETCH(QDateTime, now);
    QFETCH(QDateTime, expected);
    QFETCH(QString, label);
    const QDateTime next = ChatRules::nextMonday(now);
    QCOMPARE(next, expected);
    QCOMPARE(next.toLocalTime().time(), QTime(9, 0));
    QCOMPARE(ChatRules::remindLabel(next), label);
}

void TestChatView::savedLine_data()
{
    QTest::addColumn<QDateTime>("savedAt");
    QTest::addColumn<bool>("read");
    QTest::addColumn<QString>("line");
    QTest::newRow("never read") << local(2026, 11, 3, 14, 0) << false << "Gespeichert 03.11., nie gelesen.";
    QTest::newRow("read") << local(2026, 11, 3, 14, 0) << true << "Gespeichert 03.11.";
    // 23:30 UTC is already the next day in Zurich.
    QTest::newRow("local day of a utc time")
        << QDateTime(QDate(2026, 11, 2), QTime(23, 30), Qt::UTC) << true << "Gespeichert 03.11.";
}

void TestChatView::savedLine()
{
    QFETCH(QDateTime, savedAt);
    QFETCH(bool, read);
    QFETCH(QString, line);
    QCOMPARE(ChatRules::savedLine(savedAt, read), line);
}

void TestChatView::introOnlyWhileEmpty()
{
    QVERIFY(m_harness->load(QStringLiteral("ChatView.qml")));
    QVERIFY(m_harness->isShown(QStringLiteral("intro")));
    // The fixture's model reports the language model as unavailable.
    QCOMPARE(m_harness->text(QStringLiteral("introText")),
             PlatformWords::chatIntro(false, ModelConfig::current().modelName));
    QVERIFY(!m_harness->find(QStringLiteral("message0")));

    appendAnswer({});
    QTRY_VERIFY(m_harness->find(QStringLiteral("message0")));
    QVERIFY(!m_harness->isShown(QStringLiteral("intro")));
}

void TestChatView::introWithTheModel()
{
    m_harness.reset();
    m_fixture = std::make_unique<AppModelFixture>();
    m_fixture->reportAIAvailable();
    m_harness = std::make_unique<ViewHarness>(m_fixture->model());
    QVERIFY(m_harness->load(QStringLiteral("ChatView.qml")));
    QCOMPARE(m_harness->text(QStringLiteral("introText")),
             PlatformWords::chatIntro(true, ModelConfig::current().modelName));
}

void TestChatView::answerShowsItsCards_data()
{
    QTest::addColumn<int>("cards");
    QTest::addColumn<QString>("openText");
    QTest::newRow("nothing found") << 0 << QString();
    QTest::newRow("three") << 3 << "→ Alle drei öffnen";
}

void TestChatView::answerShowsItsCards()
{
    QFETCH(int, cards);
    QFETCH(QString, openText);
    const QList<SavedTab> tabs = addTabs(cards);
    QVERIFY(m_harness->load(QStringLiteral("ChatView.qml")));
    appendAnswer(tabs, QStringLiteral("Dazu habe ich etwas."));
    QTRY_VERIFY(m_harness->find(QStringLiteral("message0")));

    QObject *message = m_harness->find(QStringLiteral("message0"));
    QCOMPARE(ViewHarness::findBelow(message, QStringLiteral("answerText"))->property("text").toString(),
             QStringLiteral("Dazu habe ich etwas."));
    QVERIFY(!shownOnScreen(ViewHarness::findBelow(message, QStringLiteral("question"))));
    QObject *actions = ViewHarness::findBelow(message, QStringLiteral("actions"));
    QCOMPARE(shownOnScreen(actions), cards > 0);
    for (int i = 0; i < 3; ++i) {
        QObject *card = ViewHarness::findBelow(message, QStringLiteral("card%1").arg(i));
        QCOMPARE(card != nullptr, i < cards);
        if (!card)
            continue;
        QCOMPARE(ViewHarness::findBelow(card, QStringLiteral("cardTitle"))->property("text").toString(),
                 tabs.at(i).title);
        // The second tab was read.
        QCOMPARE(ViewHarness::findBelow(card, QStringLiteral("cardSaved"))->property("text").toString(),
                 i == 1 ? QStringLiteral("Gespeichert 03.11.") : QStringLiteral("Gespeichert 03.11., nie gelesen."));
        QCOMPARE(ViewHarness::findBelow(card, QStringLiteral("cardReason"))->property("text").toString(),
                 QStringLiteral("Passt, weil es um %1 geht.").arg(tabs.at(i).title));
    }
    if (cards > 0) {
        QCOMPARE(ViewHarness::findBelow(actions, QStringLiteral("openAll"))->property("text").toString(), openText);
        // The fixture's clock stands on Monday 16.11.2026 20:31.
        QCOMPARE(ViewHarness::findBelow(actions, QStringLiteral("remindAll"))->property("text").toString(),
                 QStringLiteral("→ Erinnere mich Mo. 23.11. 09:00"));
    }
}

void TestChatView::remindSetsNextMondayOnEveryTab()
{
    const QList<SavedTab> tabs = addTabs(3);
    QVERIFY(m_harness->load(QStringLiteral("ChatView.qml")));
    // The date is taken at the click, not when the answer was drawn (the
    // week before).
    appendAnswer(tabs);
    QTRY_VERIFY(m_harness->find(QStringLiteral("message0")));
    m_fixture->clock().set(local(2026, 11, 23, 12, 0));
    const QDateTime expected = local(2026, 11, 30, 9, 0);
    QVERIFY(m_harness->click(m_harness->findIn(QStringLiteral("message0"), QStringLiteral("remindAll"))));

    for (const SavedTab &tab : tabs) {
        const auto saved = m_fixture->library().data().tab(tab.id);
        QVERIFY(saved);
        QCOMPARE(saved->reminderAt, std::optional<QDateTime>(expected));
    }
    QCOMPARE(m_fixture->model().notice(),
             std::optional<QString>(QStringLiteral("Erinnerung gesetzt: ") + Fmt::full(expected)));
}

void TestChatView::openActionsOpenInCardOrder()
{
    QList<SavedTab> tabs = addTabs(3);
    std::swap(tabs[0], tabs[2]);
    QVERIFY(m_harness->load(QStringLiteral("ChatView.qml")));
    appendAnswer(tabs);
    QTRY_VERIFY(m_harness->find(QStringLiteral("message0")));

    QVERIFY(m_harness->click(m_harness->findIn(QStringLiteral("message0"), QStringLiteral("openAll"))));
    const QList<QUrl> all{QUrl(tabs[0].url), QUrl(tabs[1].url), QUrl(tabs[2].url)};
    QTRY_COMPARE(m_fixture->bridge().openedWithWorkspace(), all);

    QObject *second = m_harness->findIn(QStringLiteral("message0"), QStringLiteral("card1"));
    QVERIFY(m_harness->click(ViewHarness::findBelow(second, QStringLiteral("cardOpen"))));
    QTRY_COMPARE(m_fixture->bridge().openedWithWorkspace(), all + QList<QUrl>{QUrl(tabs[1].url)});
    QVERIFY(m_fixture->library().data().tab(tabs[0].id)->readAt);
}

void TestChatView::askButtonFollowsTheField()
{
    QVERIFY(m_harness->load(QStringLiteral("ChatView.qml")));
    QVERIFY(!m_harness->isShown(QStringLiteral("askButton")));
    QVERIFY(m_harness->type(QStringLiteral("questionField"), QStringLiteral("rust")));
    QVERIFY(m_harness->isShown(QStringLiteral("askButton")));
    for (int i = 0; i < 4; ++i)
        QTest::keyClick(m_harness->view(), Qt::Key_Backspace);
    QCOMPARE(m_harness->text(QStringLiteral("questionField")), QString());
    QVERIFY(!m_harness->isShown(QStringLiteral("askButton")));

    QVERIFY(m_harness->type(QStringLiteral("questionField"), QStringLiteral("rust buch")));
    m_fixture->holdAnswers(true);
    QVERIFY(m_harness->click(QStringLiteral("askButton")));
    QCOMPARE(m_fixture->model().chat().size(), 1);
    QCOMPARE(m_fixture->model().chat().first().text, QStringLiteral("rust buch"));
    QCOMPARE(m_harness->text(QStringLiteral("questionField")), QString());
    m_fixture->holdAnswers(false);
    QTRY_VERIFY(!m_fixture->model().chatBusy());
}

void TestChatView::returnSendsAndEmptiesTheField()
{
    addTabs(2);
    QVERIFY(m_harness->load(QStringLiteral("ChatView.qml")));
    // An empty question goes to the model, which ignores it.
    QVERIFY(m_harness->type(QStringLiteral("questionField"), QString()));
    m_harness->pressReturn();
    QCOMPARE(m_fixture->model().chat().size(), 0);

    QVERIFY(m_harness->type(QStringLiteral("questionField"), QStringLiteral("  Rust Buch  ")));
    m_harness->pressReturn();
    QCOMPARE(m_harness->text(QStringLiteral("questionField")), QString());
    QTRY_COMPARE(m_fixture->model().chat().size(), 2);
    QCOMPARE(m_fixture->model().chat().first().text, QStringLiteral("Rust Buch"));
    QTRY_VERIFY(m_harness->find(QStringLiteral("message1")));
    QVERIFY(m_harness->findIn(QStringLiteral("message0"), QStringLiteral("question"))->property("visible").toBool());
    QCOMPARE(m_harness->findIn(QStringLiteral("message0"), QStringLiteral("questionText"))->property("text").toString(),
             QStringLiteral("Rust Buch"));
}

void TestChatView::busyRowWhileAnswering()
{
    QVERIFY(m_harness->load(QStringLiteral("ChatView.qml")));
    QVERIFY(!m_harness->isShown(QStringLiteral("busyRow")));
    m_fixture->holdAnswers(true);
    m_fixture->model().ask(QStringLiteral("was zu rust?"));
    QTRY_VERIFY(m_harness->isShown(QStringLiteral("busyRow")));
    m_fixture->holdAnswers(false);
    QTRY_VERIFY(!m_harness->isShown(QStringLiteral("busyRow")));
}

void TestChatView::scrollsToTheNewestEntry()
{
    const QList<SavedTab> tabs = addTabs(3);
    QVERIFY(m_harness->load(QStringLiteral("ChatView.qml")));
    auto *transcript = m_harness->find(QStringLiteral("transcript"));
    for (int i = 0; i < 6; ++i)
        appendAnswer(tabs);
    QTRY_VERIFY(m_harness->find(QStringLiteral("message5")));
    const auto end = [&] {
        return transcript->property("contentHeight").toReal() - transcript->property("height").toReal();
    };
    QTRY_VERIFY(end() > 0);
    QTRY_COMPARE(transcript->property("contentY").toReal(), end());
    // The last answer's actions can be reached without scrolling by hand.
    QVERIFY(m_harness->click(m_harness->findIn(QStringLiteral("message5"), QStringLiteral("remindAll"))));
}

void TestChatView::opensAtTheNewestEntry()
{
    const QList<SavedTab> tabs = addTabs(3);
    for (int i = 0; i < 4; ++i)
        appendAnswer(tabs);
    QVERIFY(m_harness->load(QStringLiteral("ChatView.qml")));
    auto *transcript = m_harness->find(QStringLiteral("transcript"));
    QVERIFY(transcript->property("contentHeight").toReal() > transcript->property("height").toReal());
    QTRY_COMPARE(transcript->property("contentY").toReal(),
                 transcript->property("contentHeight").toReal() - transcript->property("height").toReal());
    QVERIFY(m_harness->click(m_harness->findIn(QStringLiteral("message3"), QStringLiteral("openAll"))));
}

PELLMORA_TEST_MAIN(TestChatView)
#include "TestChatView.moc"
