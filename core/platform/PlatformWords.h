#pragma once

#include <QString>
#include <QStringList>
#include <QtGlobal>

// The words that name the desktop, the browser and the language model in
// what the user reads. The macOS build speaks of Safari and Apple
// Intelligence; the Linux build names the browser whose extension is
// connected and the local model server. Every text that names one of them
// comes from here, so the two builds differ in this one place.
//
// `browsers` are the connected browsers as their extensions name them
// ("chromium", "firefox"), in connection order; the macOS build ignores
// them. `model` is the configured model's name, empty when none is set.
namespace PlatformWords {

enum class Platform { macOS, linuxDesktop };

constexpr Platform current()
{
#ifdef Q_OS_MACOS
    return Platform::macOS;
#else
    return Platform::linuxDesktop;
#endif
}

// "Chromium", "Chrome", "Firefox"; other names as given, "Browser" for none.
QString browserName(const QString &extensionName);

// The browser as an object: "Safari", "Firefox", or "Browser" when none or
// several are connected ("statt Browser", "ohne Browser").
QString browser(const QStringList &browsers, Platform p = current());
// "in Safari", "in Firefox", "in deinen Browsern", "im Browser".
QString inBrowser(const QStringList &browsers, Platform p = current());

// The popover.
QString popoverTitle(const QStringList &browsers, Platform p = current());
QString demoBadge(const QStringList &browsers, Platform p = current());
QString notConnectedTitle(Platform p = current());
QString notConnectedText(Platform p = current());
QString connectButton(Platform p = current());
// What the connect button shows when no browser can be reached;
// `extensionFolder` is where the installed extension lies.
QString connectSteps(const QString &extensionFolder, Platform p = current());
QString connectFirst(Platform p = current());
QString browserNotOpen(Platform p = current());

// Menus, windows and sheets.
QString demoMenuEntry(const QStringList &browsers, Platform p = current());
QString libraryEmptyText(Platform p = current());
QString openButton(const QStringList &browsers, Platform p = current());
QString savedWindowLine(Platform p = current());
QString clearKeepsBrowser(Platform p = current());
QString pinnedExplanation(Platform p = current());
QString minimizeCommand(Platform p = current());
QString moonAfterRestart(Platform p = current());

// Talking to the browser and the sleep run.
QString notRunningError(Platform p = current());
QString noAnswerError(int code, const QString &message, Platform p = current());
QString permissionError(Platform p = current());
QString emptyBrowser(const QStringList &browsers, Platform p = current());
QString readingStage(Platform p = current());
QString closingStage(Platform p = current());

// The language model and search by meaning.
enum class ModelState { available, deviceNotEligible, notEnabled, modelNotReady, otherReason, forcedOff };
QString modelStatus(ModelState state, const QString &model, Platform p = current());
QString chatIntro(bool available, const QString &model, Platform p = current());
QString chatFallbackNote(const QString &model, Platform p = current());
QString topicSource(bool available, Platform p = current());
QString searchSource(bool semantic, const QString &embeddingModel, Platform p = current());

// Instructions that other programs and the model read.
QString modelInstructions(Platform p = current());
QString mcpInstructions(Platform p = current());
QString mcpWindowsTool(Platform p = current());

} // namespace PlatformWords
