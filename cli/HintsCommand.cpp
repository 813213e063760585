#include "HintsCommand.h"

#include "CliCommand.h"
#include "Clock.h"
#include "ContextReader.h"
#include "Embedder.h"
#include "Fmt.h"
#include "HintEngine.h"
#include "Library.h"
#include "LibraryStore.h"
#include "ServerEmbeddingSource.h"
#include "TextCut.h"

int runHintsCommand(const QStringList &arguments)
{
    const QString usage = QStringLiteral("hints");
    if (Cli::wantsHelp(arguments)) {
        Cli::out() << "Aufruf: pellmora-cli " << usage << "\n"
                   << "Sucht jetzt Hinweise auf ungelesene Tabs, die zu deinen Projekten passen, wie «Jetzt "
                      "Hinweise suchen» in der App, aber ohne Mitteilung. Hält den Tag fest und zeigt die neuen "
                      "Hinweise mit ihrem Grund.\n";
        return 0;
    }
    if (!arguments.isEmpty())
        return Cli::usageError(usage, QStringLiteral("Unerwartetes Argument: ") + arguments.first());

    const LibraryStore store = LibraryStore::standard();
    // The same vector space as the application's, so cached vectors count.
    const Embedder embedder(true, ServerEmbeddingSource::create());
    const HintRun run = HintEngine::lookForHints(store.load(), embedder, Clock::system());
    if (const Status saved = store.save(run.data); !saved) {
        Cli::err() << Library::saveFailedMessage(saved.error()) << Qt::endl;
        return 1;
    }
    for (const Hint &hint : run.hints) {
        const std::optional<SavedTab> tab = run.data.tab(hint.tabId);
        if (!tab)
            continue;
        Cli::out() << tab->title << "\n  " << tab->url << "\n  " << hint.reason << "\n";
    }
    if (run.hints.isEmpty())
        Cli::out() << "Keine neuen Hinweise.\n";
    else
        Cli::out() << Fmt::number(run.hints.size()) << (run.hints.size() == 1 ? " neuer Hinweis\n" : " neue Hinweise\n");
    return 0;
}

int runContextCommand(const QStringList &arguments)
{
    const QString usage = QStringLiteral("context");
    if (Cli::wantsHelp(arguments)) {
        Cli::out() << "Aufruf: pellmora-cli " << usage << "\n"
                   << "Zeigt die Projekte, die Pellmora in deinen Ordnern (CLAUDE.md, README.md, TODO.yaml) und "
                      "deinem eigenen Text findet: Name, Ordner und Länge des Textes.\n";
        return 0;
    }
    if (!arguments.isEmpty())
        return Cli::usageError(usage, QStringLiteral("Unerwartetes Argument: ") + arguments.first());

    const QList<ProjectText> projects = ContextReader::projectsFor(LibraryStore::standard().load().context);
    if (projects.isEmpty()) {
        Cli::out() << "Keine Projekte. Ordner und einen eigenen Text legst du im Fenster «Kontext» fest.\n";
        return 0;
    }
    for (const ProjectText &project : projects) {
        Cli::out() << project.name;
        if (!project.path.isEmpty())
            Cli::out() << "  " << project.path;
        Cli::out() << "  (" << Fmt::number(TextCut::length(project.text)) << " Zeichen)\n";
    }
    return 0;
}
