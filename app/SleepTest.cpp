#include "SleepTest.h"

#include <QQuickView>
#include <QSettings>
#include <QSize>

#include "AppModel.h"
#include "Library.h"
#include "LibraryStore.h"
#include "SelfTestSession.h"
#include "SelfTestSupport.h"
#include "ViewShot.h"
#include "WindowManager.h"

namespace SleepTest {

namespace {

const QString kTag = QStringLiteral("sleeptest");
const QString kArrow = QStringLiteral(" → ");

QString verdict(bool passed)
{
    return passed ? QStringLiteral("OK") : QStringLiteral("FAIL");
}

bool sleepRunPasses(SelfTestSession &session)
{
    AppModel &model = session.model();
    model.setDemoMode(true);
    model.sleepAllTabs();
    const bool finished = SelfTestSupport::waitWhile([&] { return model.isSleepRunning(); }, kRunLimitMs);
    const SleepStage stage = model.sleepStage();
    const LibraryData &data = session.library().data();
    const bool passed = finished && stage.kind == SleepStage::Kind::done && stage.stats.tabs == kDemoTabs
        && data.tabs.size() == kDemoTabs && !data.topics.isEmpty()
        && LibraryStore(session.libraryPath()).load().tabs.size() == kDemoTabs;
    SelfTestSupport::printLine(kTag, stage.label() + kArrow + verdict(passed));
    return passed;
}

bool chatPasses(AppModel &model)
{
    model.ask(question());
    const bool finished = SelfTestSupport::waitWhile([&] { return model.chatBusy(); }, kChatLimitMs);
    const QList<ChatMessage> &chat = model.chat();
    QString titles = QStringLiteral("-");
    if (!chat.isEmpty()) {
        QStringList list;
        for (const ChatCard &card : chat.constLast().cards)
            list.append(card.tab.title);
        titles = list.join(QStringLiteral(" | "));
    }
    const bool passed = finished && chat.size() == 2 && chat.constLast().role == ChatMessage::Role::assistant
        && !chat.constLast().cards.isEmpty();
    SelfTestSupport::printLine(kTag, QStringLiteral("Chat: ") + titles + kArrow + verdict(passed));
    return passed;
}

bool viewsBuild(SelfTestSession &session)
{
    const ViewShot shot(&session.engine());
    bool passed = true;
    for (const QString &file : viewFiles()) {
        QString error;
        const std::unique_ptr<QQuickView> view = shot.build(file, QSize(kViewWidth, kViewHeight), &error);
        // One frame lays the view out, as a window's first showing would.
        if (!view || ViewShot::render(*view).isNull()) {
            passed = false;
            SelfTestSupport::printLine(kTag, error.isEmpty() ? file : error);
        }
    }
    SelfTestSupport::printLine(kTag, QStringLiteral("Fenster-Ansichten aufgebaut") + kArrow + verdict(passed));
    return passed;
}

} // namespace

QString question()
{
    return QStringLiteral("What did I save about cameras for the trip?");
}

QStringList viewFiles()
{
    QStringList files;
    for (const WindowSetup &setup : WindowManager::setups())
        files.append(setup.view);
    files.append(QStringLiteral("PopoverView.qml"));
    return files;
}

int run()
{
    QSettings userSettings;
    const auto demoMode = SelfTestSupport::StoredSetting::remember(userSettings, QStringLiteral("demoMode"));

    bool passed = false;
    Result<std::unique_ptr<SelfTestSession>> created = SelfTestSession::create(QStringLiteral("pellmora-sleeptest-"));
    if (!created) {
        SelfTestSupport::printLine(kTag, created.error() + kArrow + verdict(false));
    } else {
        std::unique_ptr<SelfTestSession> session = std::move(created).value();
        const bool slept = sleepRunPasses(*session);
        const bool answered = chatPasses(session->model());
        const bool built = viewsBuild(*session);
        passed = slept && answered && built;
        if (!session->close())
            SelfTestSupport::printLine(kTag, QStringLiteral("Sandbox nicht entfernt: ") + session->folder());
    }
    demoMode.restore(userSettings);
    return passed ? 0 : 1;
}

} // namespace SleepTest
