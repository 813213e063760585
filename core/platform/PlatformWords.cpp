#include "PlatformWords.h"

namespace PlatformWords {

namespace {

bool mac(Platform p)
{
    return p == Platform::macOS;
}

// The connected browsers' names, each once, in connection order.
QStringList distinctNames(const QStringList &browsers)
{
    QStringList names;
    for (const QString &b : browsers) {
        const QString name = browserName(b);
        if (!names.contains(name))
            names << name;
    }
    return names;
}

QString capitalized(QString text)
{
    if (!text.isEmpty())
        text[0] = text.at(0).toUpper();
    return text;
}

// How the model is named in a sentence: with its name when one is set.
QString localModel(const QString &model)
{
    return model.isEmpty() ? QStringLiteral("das lokale Sprachmodell")
                           : QStringLiteral("das lokale Sprachmodell (%1)").arg(model);
}

} // namespace

QString browserName(const QString &extensionName)
{
    const QString lower = extensionName.toLower();
    if (lower == u"chromium")
        return QStringLiteral("Chromium");
    if (lower == u"chrome")
        return QStringLiteral("Chrome");
    if (lower == u"firefox")
        return QStringLiteral("Firefox");
    return extensionName.isEmpty() ? QStringLiteral("Browser") : extensionName;
}

QString browser(const QStringList &browsers, Platform p)
{
    if (mac(p))
        return QStringLiteral("Safari");
    const QStringList names = distinctNames(browsers);
    return names.size() == 1 ? names.first() : QStringLiteral("Browser");
}

QString inBrowser(const QStringList &browsers, Platform p)
{
    if (mac(p))
        return QStringLiteral("in Safari");
    const QStringList names = distinctNames(browsers);
    if (names.isEmpty())
        return QStringLiteral("im Browser");
    if (names.size() == 1)
        return QStringLiteral("in ") + names.first();
    return QStringLiteral("in deinen Browsern");
}

QString popoverTitle(const QStringList &browsers, Platform p)
{
    return QStringLiteral("Gerade offen ") + inBrowser(browsers, p);
}

QString demoBadge(const QStringList &browsers, Platform p)
{
    return QStringLiteral("Demo-Modus: Beispiel-Daten statt ") + browser(browsers, p);
}

QString notConnectedTitle(Platform p)
{
    return mac(p) ? QStringLiteral("Safari ist noch nicht verbunden.")
                  : QStringLiteral("Noch ist kein Browser verbunden.");
}

QString notConnectedText(Platform p)
{
    if (mac(p))
        return QStringLiteral("Beim Verbinden fragt macOS einmal, ob Pellmora Safari steuern darf. Sag «Erlauben», "
                              "sonst kann Pellmora keine Tabs lesen und schliessen.");
    return QStringLiteral("Installiere die Pellmora-Erweiterung in Chromium, Chrome oder Firefox, wie es die "
                          "Anleitung beschreibt. Danach verbindet sich der Browser von selbst.");
}

QString connectButton(Platform p)
{
    return mac(p) ? QStringLiteral("Safari verbinden") : QStringLiteral("Browser verbinden");
}

QString connectSteps(const QString &extensionFolder, Platform p)
{
    if (mac(p))
        return notRunningError(p);
    return QStringLiteral("Kein Browser mit der Pellmora-Erweiterung ist verbunden. Chromium oder Chrome: "
                          "chrome://extensions öffnen, den Entwicklermodus einschalten, «Entpackte Erweiterung "
                          "laden» wählen und den Ordner %1 angeben. Firefox: in about:config "
                          "xpinstall.signatures.required auf false setzen, dann in about:addons «Add-on aus Datei "
                          "installieren» wählen und pellmora.xpi aus dem Ordner darüber angeben. Danach verbindet "
                          "sich der Browser von selbst.")
        .arg(extensionFolder);
}

QString connectFirst(Platform p)
{
    if (mac(p))
        return QStringLiteral("Verbinde zuerst Safari (Knopf «Safari verbinden») oder schalte im Menü Hilfe den "
                              "Demo-Modus ein.");
    return QStringLiteral("Verbinde zuerst deinen Browser (Knopf «Browser verbinden») oder schalte im Menü Hilfe "
                          "den Demo-Modus ein.");
}

QString browserNotOpen(Platform p)
{
    return mac(p) ? QStringLiteral("Safari ist nicht geöffnet.")
                  : QStringLiteral("Kein Browser mit der Pellmora-Erweiterung ist verbunden.");
}

QString demoMenuEntry(const QStringList &browsers, Platform p)
{
    return QStringLiteral("Demo-Modus (Beispiel-Daten statt ") + browser(browsers, p) + u')';
}

QString libraryEmptyText(Platform p)
{
    if (mac(p))
        return QStringLiteral("Klick oben in der Menüleiste auf den Mond und dann auf «Alle Tabs schlafen legen». "
                              "Zum Ausprobieren ohne Safari gibt es Beispiel-Daten.");
    return QStringLiteral("Klick im Infobereich der Leiste auf den Mond und dann auf «Alle Tabs schlafen legen». "
                          "Zum Ausprobieren ohne Browser gibt es Beispiel-Daten.");
}

QString openButton(const QStringList &browsers, Platform p)
{
    if (mac(p))
        return QStringLiteral("In Safari öffnen");
    // Addresses reopen in the browser connected last.
    const QStringList last = browsers.isEmpty() ? QStringList() : QStringList{browsers.last()};
    return capitalized(inBrowser(last, p)) + QStringLiteral(" öffnen");
}

QString savedWindowLine(Platform p)
{
    return QStringLiteral(" Tabs, so wie sie ") + inBrowser({}, p) + QStringLiteral(" offen waren");
}

QString clearKeepsBrowser(Platform p)
{
    return mac(p) ? QStringLiteral("Safari bleibt, wie es ist.") : QStringLiteral("Der Browser bleibt, wie er ist.");
}

QString pinnedExplanation(Platform p)
{
    return (mac(p) ? QStringLiteral("Safari verrät anderen Programmen nicht, welche Tabs angepinnt sind.")
                   : QStringLiteral("Der Browser verrät Pellmora nicht, welche Tabs angepinnt sind."))
        + QStringLiteral(" Trag deshalb die Adressen ein, die immer offen bleiben sollen (eine pro Zeile, z. B. "
                         "mail.google.com).");
}

QString minimizeCommand(Platform p)
{
    return mac(p) ? QStringLiteral("Im Dock ablegen") : QStringLiteral("Minimieren");
}

QString moonAfterRestart(Platform p)
{
    return mac(p) ? QStringLiteral("Der Mond ist nach jedem Neustart oben in der Menüleiste.")
                  : QStringLiteral("Der Mond ist nach jedem Neustart im Infobereich der Leiste.");
}

QString notRunningError(Platform p)
{
    if (mac(p))
        return QStringLiteral("Safari ist nicht geöffnet. Öffne Safari und versuche es nochmals.");
    return QStringLiteral("Kein Browser mit der Pellmora-Erweiterung ist verbunden. Öffne Chromium, Chrome oder "
                          "Firefox mit der Erweiterung und versuche es nochmals.");
}

QString noAnswerError(int code, const QString &message, Platform p)
{
    return (mac(p) ? QStringLiteral("Safari") : QStringLiteral("Der Browser"))
        + QStringLiteral(" hat nicht geantwortet (Fehler %1): %2").arg(code).arg(message);
}

QString permissionError(Platform p)
{
    if (mac(p))
        return QStringLiteral("Pellmora darf Safari noch nicht steuern. Erlauben: Systemeinstellungen → "
                              "Datenschutz & Sicherheit → Automation → Pellmora → Safari einschalten.");
    return QStringLiteral("Pellmora darf den Browser noch nicht steuern. Erlaube der Pellmora-Erweiterung den "
                          "Zugriff auf die Tabs.");
}

QString emptyBrowser(const QStringList &browsers, Platform p)
{
    return capitalized(inBrowser(browsers, p)) + QStringLiteral(" ist gerade kein Tab offen.");
}

QString readingStage(Platform p)
{
    return mac(p) ? QStringLiteral("Lese die offenen Tabs aus Safari …")
                  : QStringLiteral("Lese die offenen Tabs aus dem Browser …");
}

QString closingStage(Platform p)
{
    return QStringLiteral("Schliesse die Tabs ") + inBrowser({}, p) + QStringLiteral(" …");
}

QString modelStatus(ModelState state, const QString &model, Platform p)
{
    if (mac(p)) {
        switch (state) {
        case ModelState::forcedOff:
            return QStringLiteral("Apple Intelligence: für diesen Lauf ausgeschaltet");
        case ModelState::available:
            return QStringLiteral("Apple Intelligence: eingeschaltet, Themen und Chat laufen auf deinem Mac");
        case ModelState::deviceNotEligible:
            return QStringLiteral("Apple Intelligence: dieser Mac unterstützt es nicht. Pellmora nutzt Stichwörter "
                                  "statt KI.");
        case ModelState::notEnabled:
            return QStringLiteral("Apple Intelligence ist ausgeschaltet. Einschalten: Systemeinstellungen → Apple "
                                  "Intelligence & Siri.");
        case ModelState::modelNotReady:
            return QStringLiteral("Apple Intelligence lädt noch das Sprachmodell. Bis dahin nutzt Pellmora "
                                  "Stichwörter.");
        case ModelState::otherReason:
            break;
        }
        return QStringLiteral("Apple Intelligence ist gerade nicht verfügbar. Pellmora nutzt Stichwörter.");
    }
    const QString named = capitalized(localModel(model));
    switch (state) {
    case ModelState::forcedOff:
        return QStringLiteral("Lokales Sprachmodell: für diesen Lauf ausgeschaltet");
    case ModelState::available:
        return named + QStringLiteral(": eingeschaltet, Themen und Chat laufen auf diesem Rechner");
    case ModelState::deviceNotEligible:
        return QStringLiteral("Dieser Rechner kann kein lokales Sprachmodell ausführen. Pellmora nutzt Stichwörter "
                              "statt KI.");
    case ModelState::notEnabled:
        return QStringLiteral("Kein lokales Sprachmodell eingerichtet. Pellmora nutzt Stichwörter. Einrichten: "
                              "in den Einstellungen unter «Sprachmodell» oder mit PELLMORA_MODEL.");
    case ModelState::modelNotReady:
        return named + QStringLiteral(" ist auf dem Modell-Server noch nicht bereit. Bis dahin nutzt Pellmora "
                                      "Stichwörter.");
    case ModelState::otherReason:
        break;
    }
    return QStringLiteral("Der Modell-Server auf diesem Rechner antwortet nicht. Pellmora nutzt Stichwörter.");
}

QString chatIntro(bool available, const QString &model, Platform p)
{
    if (mac(p))
        return available ? QStringLiteral("Apple Intelligence sucht die passenden Tabs und sagt dir, warum sie "
                                          "passen. Alles bleibt auf deinem Mac.")
                         : QStringLiteral("Apple Intelligence ist auf diesem Mac nicht eingeschaltet. Du bekommst "
                                          "trotzdem die besten Treffer, nur ohne Begründung.");
    if (available)
        return capitalized(localModel(model))
            + QStringLiteral(" sucht die passenden Tabs und sagt dir, warum sie passen. Alles bleibt auf diesem "
                             "Rechner.");
    return (model.isEmpty() ? QStringLiteral("Auf diesem Rechner ist kein lokales Sprachmodell eingerichtet.")
                            : capitalized(localModel(model)) + QStringLiteral(" ist gerade nicht erreichbar."))
        + QStringLiteral(" Du bekommst trotzdem die besten Treffer, nur ohne Begründung.");
}

QString chatFallbackNote(const QString &model, Platform p)
{
    if (mac(p))
        return QStringLiteral("Apple Intelligence ist ausgeschaltet, darum zeige ich die besten Treffer ohne "
                              "Begründung.");
    return (model.isEmpty() ? QStringLiteral("Kein lokales Sprachmodell ist eingerichtet")
                            : capitalized(localModel(model)) + QStringLiteral(" ist nicht erreichbar"))
        + QStringLiteral(", darum zeige ich die besten Treffer ohne Begründung.");
}

QString topicSource(bool available, Platform p)
{
    if (!available)
        return QStringLiteral("Stichwörter");
    return mac(p) ? QStringLiteral("KI auf dem Mac") : QStringLiteral("KI auf diesem Rechner");
}

QString searchSource(bool semantic, const QString &embeddingModel, Platform p)
{
    if (mac(p))
        return semantic ? QStringLiteral("Apples Sprachmodell auf dem Mac")
                        : QStringLiteral("Stichwörter (Apples Sprachpakete fehlen noch)");
    if (semantic)
        return QStringLiteral("das Modell %1 auf diesem Rechner").arg(embeddingModel);
    return QStringLiteral("Stichwörter (kein Modell für die Suche eingerichtet)");
}

QString modelInstructions(Platform p)
{
    return QStringLiteral("Du bist ein Helfer in einer ") + (mac(p) ? QStringLiteral("Mac-App") : QStringLiteral("Desktop-App"))
        + QStringLiteral(", die gespeicherte Browser-Tabs ordnet. Antworte immer auf Deutsch mit Schweizer "
                         "Schreibweise (ss statt ß), kurz, sachlich und ohne Floskeln.");
}

QString mcpInstructions(Platform p)
{
    return QStringLiteral("Durchsucht die gespeicherten ")
        + (mac(p) ? QStringLiteral("Safari-Tabs") : QStringLiteral("Browser-Tabs"))
        + QStringLiteral(" des Nutzers (Bibliothek von Pellmora). Antworte auf Deutsch.");
}

QString mcpWindowsTool(Platform p)
{
    return QStringLiteral("Listet die gespeicherten Fenster wie sie ") + inBrowser({}, p) + QStringLiteral(" waren.");
}

} // namespace PlatformWords
