#include "SleepCommand.h"

#include "CliBridge.h"
#include "CliCommand.h"
#include "Clock.h"
#include "Embedder.h"
#include "LibraryStore.h"
#include "EmbedderFactory.h"
#include "SleepPipeline.h"
#include "SleepRun.h"
#include "StoreLibraryAccess.h"

#include <QElapsedTimer>
#include <QSettings>

namespace {

const QString kUsage = QStringLiteral(
    "sleep [--demo] [--content|--no-content] [--topics|--no-topics] [--by-window|--no-by-window] "
    "[--keep-pinned DOMAIN…|--no-keep-pinned]");

// Progress comes once per page and per summary; a line every half second
// is enough to see it move.
constexpr qint64 progressEveryMs = 500;

class StagePrinter
{
public:
    void operator()(const SleepStage &stage)
    {
        if (stage.kind == SleepStage::Kind::failed)
            return; // goes to standard error at the end
        const bool progress =
            stage.kind == SleepStage::Kind::fetching || stage.kind == SleepStage::Kind::summarizing;
        const bool sameKind = m_last && m_last->kind == stage.kind;
        if (m_last && *m_last == stage)
            return;
        if (progress && sameKind && stage.done < stage.total && m_sinceLine.elapsed() < progressEveryMs)
            return;
        Cli::out() << stage.label() << Qt::endl;
        m_last = stage;
        m_sinceLine.start();
    }

private:
    std::optional<SleepStage> m_last;
    QElapsedTimer m_sinceLine;
};

} // namespace

int runSleepCommand(const QStringList &arguments)
{
    if (Cli::wantsHelp(arguments)) {
        Cli::out() << "Aufruf: pellmora-cli " << kUsage << "\n"
                   << "Speichert alle offenen Tabs des Browsers in der Bibliothek, fasst sie zusammen, sortiert "
                      "sie nach Thema und schliesst sie.\n"
                   << "Ohne Schalter gelten die Einstellungen der App; jeder Schalter ersetzt die seine.\n"
                   << "  --demo             Beispieltabs statt des Browsers; schliesst nichts\n"
                   << "  --content          Seiteninhalte laden\n"
                   << "  --no-content       keine Seiteninhalte laden\n"
                   << "  --topics           nach Thema sortieren\n"
                   << "  --no-topics        nicht nach Thema sortieren\n"
                   << "  --by-window        ein Fenster je Browserfenster\n"
                   << "  --no-by-window     alle neuen Tabs in ein Sammelfenster\n"
                   << "  --keep-pinned      Tabs dieser Domains bleiben offen\n"
                   << "  --no-keep-pinned   auch angepinnte Tabs schliessen\n";
        return 0;
    }

    // The app's choices are the start; flags override them one by one.
    SleepOptions options = SleepOptions::fromSettings(QSettings().value(SleepOptions::settingsKey()));
    bool demo = false;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString &arg = arguments.at(i);
        if (arg == u"--demo") {
            demo = true;
        } else if (arg == u"--content") {
            options.saveContent = true;
        } else if (arg == u"--no-content") {
            options.saveContent = false;
        } else if (arg == u"--topics") {
            options.sortByTopic = true;
        } else if (arg == u"--no-topics") {
            options.sortByTopic = false;
        } else if (arg == u"--by-window") {
            options.groupByWindow = true;
        } else if (arg == u"--no-by-window") {
            options.groupByWindow = false;
        } else if (arg == u"--keep-pinned") {
            QStringList domains;
            while (i + 1 < arguments.size() && !arguments.at(i + 1).startsWith(QStringLiteral("--")))
                domains.append(arguments.at(++i));
            if (domains.isEmpty())
                return Cli::usageError(kUsage, QStringLiteral("--keep-pinned braucht mindestens eine Domain"));
            options.keepPinned = true;
            options.pinnedDomains = domains;
        } else if (arg == u"--no-keep-pinned") {
            options.keepPinned = false;
        } else {
            return Cli::usageError(kUsage, QStringLiteral("Unbekanntes Argument: ") + arg);
        }
    }

    std::unique_ptr<BrowserBridge> bridge;
    if (!demo) {
        bridge = makeCliBridge();
        if (!bridge) {
            Cli::err() << noCliBridgeMessage() << Qt::endl;
            return 1;
        }
        if (!bridge->isSafariRunning()) {
            Cli::err() << SafariError::notRunning().errorDescription() << Qt::endl;
            return 1;
        }
    }

    StoreLibraryAccess library(LibraryStore::standard());
    // The same vector space as the application's, so cached vectors count.
    const SleepPipeline pipeline(EmbedderFactory::create());
    const SleepRun sleep(pipeline, library, bridge.get(), Clock::system());
    StagePrinter printer;
    const SleepRun::Outcome outcome = sleep.run(options, demo, std::ref(printer));

    if (outcome.stage.kind == SleepStage::Kind::failed) {
        Cli::err() << outcome.stage.message << Qt::endl;
        return 1;
    }
    // A demo run closes nothing, so it is not stopped by a failed save; the
    // terminal should still hear of it.
    if (!library.lastError().isEmpty()) {
        Cli::err() << library.lastError() << Qt::endl;
        return 1;
    }
    return 0;
}
