#include <QTest>

#include "PlatformWords.h"
#include "TestRegistry.h"

using namespace PlatformWords;

// Both builds' words, checked on any build: the macOS texts stay exactly as
// the Mac user reads them, the Linux ones name what Linux has.
class TestPlatformWords : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void macOS_data();
    void macOS() { compare(); }
    void linuxDesktop_data();
    void linuxDesktop() { compare(); }

private:
    static void compare()
    {
        QFETCH(QString, text);
        QFETCH(QString, expected);
        QCOMPARE(text, expected);
    }
};

void TestPlatformWords::macOS_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expected");
    const Platform p = Platform::macOS;
    // The browsers an extension reports play no part on the Mac.
    const QStringList firefox{QStringLiteral("firefox")};

    QTest::newRow("title") << popoverTitle(firefox, p) << "Gerade offen in Safari";
    QTest::newRow("badge") << demoBadge({}, p) << "Demo-Modus: Beispiel-Daten statt Safari";
    QTest::newRow("menu") << demoMenuEntry({}, p) << "Demo-Modus (Beispiel-Daten statt Safari)";
    QTest::newRow("not connected") << notConnectedTitle(p) << "Safari ist noch nicht verbunden.";
    QTest::newRow("not connected text")
        << notConnectedText(p)
        << "Beim Verbinden fragt macOS einmal, ob Pellmora Safari steuern darf. Sag «Erlauben», sonst kann "
           "Pellmora keine Tabs lesen und schliessen.";
    QTest::newRow("button") << connectButton(p) << "Safari verbinden";
    QTest::newRow("connect first")
        << connectFirst(p)
        << "Verbinde zuerst Safari (Knopf «Safari verbinden») oder schalte im Menü Hilfe den Demo-Modus ein.";
    QTest::newRow("not open") << browserNotOpen(p) << "Safari ist nicht geöffnet.";
    QTest::newRow("connect steps") << connectSteps(QStringLiteral("/x"), p)
                                   << "Safari ist nicht geöffnet. Öffne Safari und versuche es nochmals.";
    QTest::newRow("empty library")
        << libraryEmptyText(p)
        << "Klick oben in der Menüleiste auf den Mond und dann auf «Alle Tabs schlafen legen». Zum Ausprobieren "
           "ohne Safari gibt es Beispiel-Daten.";
    QTest::newRow("open") << openButton(firefox, p) << "In Safari öffnen";
    QTest::newRow("window line") << savedWindowLine(p) << " Tabs, so wie sie in Safari offen waren";
    QTest::newRow("clear") << clearKeepsBrowser(p) << "Safari bleibt, wie es ist.";
    QTest::newRow("pinned")
        << pinnedExplanation(p)
        << "Safari verrät anderen Programmen nicht, welche Tabs angepinnt sind. Trag deshalb die Adressen ein, "
           "die immer offen bleiben sollen (eine pro Zeile, z. B. mail.google.com).";
    QTest::newRow("minimize") << minimizeCommand(p) << "Im Dock ablegen";
    QTest::newRow("moon") << moonAfterRestart(p) << "Der Mond ist nach jedem Neustart oben in der Menüleiste.";
    QTest::newRow("not running") << notRunningError(p)
                                 << "Safari ist nicht geöffnet. Öffne Safari und versuche es nochmals.";
    QTest::newRow("no answer") << noAnswerError(-1728, QStringLiteral("kaputt"), p)
                               << "Safari hat nicht geantwortet (Fehler -1728): kaputt";
    QTest::newRow("permission")
        << permissionError(p)
        << "Pellmora darf Safari noch nicht steuern. Erlauben: Systemeinstellungen → Datenschutz & Sicherheit → "
           "Automation → Pellmora → Safari einschalten.";
    QTest::newRow("empty browser") << emptyBrowser(firefox, p) << "In Safari ist gerade kein Tab offen.";
    QTest::newRow("reading") << readingStage(p) << "Lese die offenen Tabs aus Safari …";
    QTest::newRow("closing") << closingStage(p) << "Schliesse die Tabs in Safari …";

    const QString model = QStringLiteral("qwen3");
    QTest::newRow("forced off") << modelStatus(ModelState::forcedOff, model, p)
                                << "Apple Intelligence: für diesen Lauf ausgeschaltet";
    QTest::newRow("available") << modelStatus(ModelState::available, model, p)
                               << "Apple Intelligence: eingeschaltet, Themen und Chat laufen auf deinem Mac";
    QTest::newRow("not eligible")
        << modelStatus(ModelState::deviceNotEligible, model, p)
        << "Apple Intelligence: dieser Mac unterstützt es nicht. Pellmora nutzt Stichwörter statt KI.";
    QTest::newRow("not enabled")
        << modelStatus(ModelState::notEnabled, {}, p)
        << "Apple Intelligence ist ausgeschaltet. Einschalten: Systemeinstellungen → Apple Intelligence & Siri.";
    QTest::newRow("not ready") << modelStatus(ModelState::modelNotReady, model, p)
                               << "Apple Intelligence lädt noch das Sprachmodell. Bis dahin nutzt Pellmora Stichwörter.";
    QTest::newRow("other") << modelStatus(ModelState::otherReason, model, p)
                           << "Apple Intelligence ist gerade nicht verfügbar. Pellmora nutzt Stichwörter.";
    QTest::newRow("chat on") << chatIntro(true, model, p)
                             << "Apple Intelligence sucht die passenden Tabs und sagt dir, warum sie passen. Alles "
                                "bleibt auf deinem Mac.";
    QTest::newRow("chat off") << chatIntro(false, model, p)
                              << "Apple Intelligence ist auf diesem Mac nicht eingeschaltet. Du bekommst trotzdem die "
                                 "besten Treffer, nur ohne Begründung.";
    QTest::newRow("fallback") << chatFallbackNote({}, p)
                              << "Apple Intelligence ist ausgeschaltet, darum zeige ich die besten Treffer ohne "
                                 "Begründung.";
    QTest::newRow("topics by AI") << topicSource(true, p) << "KI auf dem Mac";
    QTest::newRow("topics by words") << topicSource(false, p) << "Stichwörter";
    QTest::newRow("search semantic") << searchSource(true, model, p) << "Apples Sprachmodell auf dem Mac";
    QTest::newRow("search words") << searchSource(false, {}, p) << "Stichwörter (Apples Sprachpakete fehlen noch)";
    QTest::newRow("instructions")
        << modelInstructions(p)
        << "Du bist ein Helfer in einer Mac-App, die gespeicherte Browser-Tabs ordnet. Antworte immer auf Deutsch "
           "mit Schweizer Schreibweise (ss statt ß), kurz, sachlich und ohne Floskeln.";
    QTest::newRow("mcp") << mcpInstructions(p)
                         << "Durchsucht die gespeicherten Safari-Tabs des Nutzers (Bibliothek von Pellmora). "
                            "Antworte auf Deutsch.";
    QTest::newRow("mcp windows") << mcpWindowsTool(p) << "Listet die gespeicherten Fenster wie sie in Safari waren.";
}

void TestPlatformWords::linuxDesktop_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expected");
    const Platform p = Platform::linuxDesktop;
    const QStringList none;
    const QStringList firefox{QStringLiteral("firefox")};
    const QStringList chromiumTwice{QStringLiteral("chromium"), QStringLiteral("chromium")};
    const QStringList both{QStringLiteral("chromium"), QStringLiteral("firefox")};

    QTest::newRow("names") << browserName(QStringLiteral("chrome")) << "Chrome";
    QTest::newRow("unknown name") << browserName(QStringLiteral("Vivaldi")) << "Vivaldi";
    QTest::newRow("title, none") << popoverTitle(none, p) << "Gerade offen im Browser";
    QTest::newRow("title, one") << popoverTitle(firefox, p) << "Gerade offen in Firefox";
    QTest::newRow("title, two profiles") << popoverTitle(chromiumTwice, p) << "Gerade offen in Chromium";
    QTest::newRow("title, two") << popoverTitle(both, p) << "Gerade offen in deinen Browsern";
    QTest::newRow("badge, none") << demoBadge(none, p) << "Demo-Modus: Beispiel-Daten statt Browser";
    QTest::newRow("badge, one") << demoBadge(firefox, p) << "Demo-Modus: Beispiel-Daten statt Firefox";
    QTest::newRow("badge, two") << demoBadge(both, p) << "Demo-Modus: Beispiel-Daten statt Browser";
    QTest::newRow("menu") << demoMenuEntry(none, p) << "Demo-Modus (Beispiel-Daten statt Browser)";
    QTest::newRow("not connected") << notConnectedTitle(p) << "Noch ist kein Browser verbunden.";
    QTest::newRow("not connected text")
        << notConnectedText(p)
        << "Installiere die Pellmora-Erweiterung in Chromium, Chrome oder Firefox, wie es die Anleitung beschreibt. "
           "Danach verbindet sich der Browser von selbst.";
    QTest::newRow("button") << connectButton(p) << "Browser verbinden";
    QTest::newRow("connect steps")
        << connectSteps(QStringLiteral("/home/a/.local/share/Pellmora/browser/extension"), p)
        << "Kein Browser mit der Pellmora-Erweiterung ist verbunden. Chromium oder Chrome: chrome://extensions "
           "öffnen, den Entwicklermodus einschalten, «Entpackte Erweiterung laden» wählen und den Ordner "
           "/home/a/.local/share/Pellmora/browser/extension angeben. Firefox: in about:config "
           "xpinstall.signatures.required auf false setzen, dann in about:addons «Add-on aus Datei "
           "installieren» wählen und pellmora.xpi aus dem Ordner darüber angeben. Danach verbindet sich der Browser "
           "von selbst.";
    QTest::newRow("connect first")
        << connectFirst(p)
        << "Verbinde zuerst deinen Browser (Knopf «Browser verbinden») oder schalte im Menü Hilfe den Demo-Modus ein.";
    QTest::newRow("not open") << browserNotOpen(p) << "Kein Browser mit der Pellmora-Erweiterung ist verbunden.";
    QTest::newRow("open, none") << openButton(none, p) << "Im Browser öffnen";
    // Addresses reopen in the browser connected last.
    QTest::newRow("open, two") << openButton(both, p) << "In Firefox öffnen";
    QTest::newRow("window line") << savedWindowLine(p) << " Tabs, so wie sie im Browser offen waren";
    QTest::newRow("clear") << clearKeepsBrowser(p) << "Der Browser bleibt, wie er ist.";
    QTest::newRow("minimize") << minimizeCommand(p) << "Minimieren";
    QTest::newRow("moon") << moonAfterRestart(p) << "Der Mond ist nach jedem Neustart im Infobereich der Leiste.";
    QTest::newRow("not running")
        << notRunningError(p)
        << "Kein Browser mit der Pellmora-Erweiterung ist verbunden. Öffne Chromium, Chrome oder Firefox mit der "
           "Erweiterung und versuche es nochmals.";
    QTest::newRow("no answer") << noAnswerError(0, QStringLiteral("Zeit abgelaufen"), p)
                               << "Der Browser hat nicht geantwortet (Fehler 0): Zeit abgelaufen";
    QTest::newRow("empty, one") << emptyBrowser(firefox, p) << "In Firefox ist gerade kein Tab offen.";
    QTest::newRow("empty, two") << emptyBrowser(both, p) << "In deinen Browsern ist gerade kein Tab offen.";
    QTest::newRow("empty, none") << emptyBrowser(none, p) << "Im Browser ist gerade kein Tab offen.";
    QTest::newRow("reading") << readingStage(p) << "Lese die offenen Tabs aus dem Browser …";
    QTest::newRow("closing") << closingStage(p) << "Schliesse die Tabs im Browser …";

    const QString model = QStringLiteral("qwen3");
    QTest::newRow("available") << modelStatus(ModelState::available, model, p)
                               << "Das lokale Sprachmodell (qwen3): eingeschaltet, Themen und Chat laufen auf diesem "
                                  "Rechner";
    QTest::newRow("no model set")
        << modelStatus(ModelState::notEnabled, {}, p)
        << "Kein lokales Sprachmodell eingerichtet. Pellmora nutzt Stichwörter. Einrichten: in den Einstellungen "
           "unter «Sprachmodell» oder mit PELLMORA_MODEL.";
    QTest::newRow("not ready") << modelStatus(ModelState::modelNotReady, model, p)
                               << "Das lokale Sprachmodell (qwen3) ist auf dem Modell-Server noch nicht bereit. Bis "
                                  "dahin nutzt Pellmora Stichwörter.";
    QTest::newRow("server down") << modelStatus(ModelState::otherReason, model, p)
                                 << "Der Modell-Server auf diesem Rechner antwortet nicht. Pellmora nutzt Stichwörter.";
    QTest::newRow("chat on") << chatIntro(true, model, p)
                             << "Das lokale Sprachmodell (qwen3) sucht die passenden Tabs und sagt dir, warum sie "
                                "passen. Alles bleibt auf diesem Rechner.";
    QTest::newRow("chat, no model")
        << chatIntro(false, {}, p)
        << "Auf diesem Rechner ist kein lokales Sprachmodell eingerichtet. Du bekommst trotzdem die besten Treffer, "
           "nur ohne Begründung.";
    QTest::newRow("chat, model away")
        << chatIntro(false, model, p)
        << "Das lokale Sprachmodell (qwen3) ist gerade nicht erreichbar. Du bekommst trotzdem die besten Treffer, nur "
           "ohne Begründung.";
    QTest::newRow("fallback, no model")
        << chatFallbackNote({}, p)
        << "Kein lokales Sprachmodell ist eingerichtet, darum zeige ich die besten Treffer ohne Begründung.";
    QTest::newRow("fallback, model away")
        << chatFallbackNote(model, p)
        << "Das lokale Sprachmodell (qwen3) ist nicht erreichbar, darum zeige ich die besten Treffer ohne Begründung.";
    QTest::newRow("topics by AI") << topicSource(true, p) << "KI auf diesem Rechner";
    QTest::newRow("search semantic") << searchSource(true, QStringLiteral("nomic-embed-text"), p)
                                     << "das Modell nomic-embed-text auf diesem Rechner";
    QTest::newRow("search words") << searchSource(false, {}, p)
                                  << "Stichwörter (kein Modell für die Suche eingerichtet)";
    QTest::newRow("instructions")
        << modelInstructions(p)
        << "Du bist ein Helfer in einer Desktop-App, die gespeicherte Browser-Tabs ordnet. Antworte immer auf Deutsch "
           "mit Schweizer Schreibweise (ss statt ß), kurz, sachlich und ohne Floskeln.";
    QTest::newRow("mcp") << mcpInstructions(p)
                         << "Durchsucht die gespeicherten Browser-Tabs des Nutzers (Bibliothek von Pellmora). "
                            "Antworte auf Deutsch.";
    QTest::newRow("mcp windows") << mcpWindowsTool(p) << "Listet die gespeicherten Fenster wie sie im Browser waren.";
}

PELLMORA_TEST_GUILESS_MAIN(TestPlatformWords)
#include "TestPlatformWords.moc"
