#include "PlatformWords.h"
#include "TestRegistry.h"

#include <QRegularExpression>

#include <functional>

using namespace PlatformWords;

// Rules every text of both builds keeps, checked on any build: something
// to read, Swiss spelling, and no word of the other platform.
class TestPlatformWords : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyTextKeepsTheRules()
    {
        const QStringList none, firefox{QStringLiteral("firefox")};
        const QStringList both{QStringLiteral("chromium"), QStringLiteral("firefox")};
        const QString model = QStringLiteral("qwen3");
#define TEXT(call) {QStringLiteral(#call), [&](Platform p) { return call; }}
        const QList<std::pair<QString, std::function<QString(Platform)>>> texts = {
            TEXT(popoverTitle(none, p)), TEXT(popoverTitle(both, p)), TEXT(demoBadge(firefox, p)),
            TEXT(demoMenuEntry(both, p)), TEXT(notConnectedTitle(p)), TEXT(notConnectedText(p)), TEXT(connectButton(p)),
            TEXT(connectSteps(QStringLiteral("/x"), p)), TEXT(connectFirst(p)), TEXT(browserNotOpen(p)),
            TEXT(libraryEmptyText(p)), TEXT(openButton(both, p)), TEXT(savedWindowLine(p)), TEXT(clearKeepsBrowser(p)),
            TEXT(pinnedExplanation(p)), TEXT(minimizeCommand(p)), TEXT(moonAfterRestart(p)), TEXT(notRunningError(p)),
            TEXT(noAnswerError(-1728, QStringLiteral("x"), p)), TEXT(permissionError(p)), TEXT(emptyBrowser(none, p)),
            TEXT(emptyBrowser(firefox, p)), TEXT(readingStage(p)), TEXT(closingStage(p)),
            TEXT(modelStatus(ModelState::available, model, p)), TEXT(modelStatus(ModelState::deviceNotEligible, model, p)),
            TEXT(modelStatus(ModelState::notEnabled, {}, p)), TEXT(modelStatus(ModelState::modelNotReady, model, p)),
            TEXT(modelStatus(ModelState::otherReason, model, p)), TEXT(modelStatus(ModelState::forcedOff, model, p)),
            TEXT(chatIntro(true, model, p)), TEXT(chatIntro(false, {}, p)), TEXT(chatFallbackNote(model, p)),
            TEXT(topicSource(true, p)), TEXT(searchSource(false, {}, p)), TEXT(modelInstructions(p)),
            TEXT(mcpInstructions(p)), TEXT(mcpWindowsTool(p))};
#undef TEXT
        const QRegularExpression macWords(QStringLiteral("\\b(Safari|Apple|Mac)\\b"));
        const QRegularExpression linuxWords(QStringLiteral("\\b(Firefox|Chromium|Browsern|Erweiterung)\\b"));
        for (const auto &[name, text] : texts) {
            const QString forMac = text(Platform::macOS), forLinux = text(Platform::linuxDesktop);
            QVERIFY2(!forMac.trimmed().isEmpty() && !forLinux.trimmed().isEmpty(), qPrintable(name));
            // The model is told to write "ss statt ß"; nothing else has one.
            if (name != u"modelInstructions(p)")
                QVERIFY2(!forMac.contains(u'ß') && !forLinux.contains(u'ß'), qPrintable(name));
            QVERIFY2(!forLinux.contains(macWords), qPrintable(name + QStringLiteral(": ") + forLinux));
            QVERIFY2(!forMac.contains(linuxWords), qPrintable(name + QStringLiteral(": ") + forMac));
        }
    }
};

PELLMORA_TEST_GUILESS_MAIN(TestPlatformWords)
#include "TestPlatformWords.moc"
