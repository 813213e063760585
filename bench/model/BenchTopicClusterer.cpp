#include <QRandomGenerator>
#include <QTimeZone>

#include <memory>

#include "BenchTable.h"
#include "Embedder.h"
#include "TopicClusterer.h"

using namespace Qt::StringLiterals;

namespace {

// Each tab is mostly about one subject, with a few words from anywhere.
const QList<QStringList> subjects = [] {
    const QStringList roots = {u"garten"_s, u"kamera"_s, u"velo"_s,   u"projekt"_s, u"reise"_s,
                               u"rezept"_s, u"möbel"_s,  u"bahn"_s,   u"zeitung"_s, u"musik"_s,
                               u"steuer"_s, u"wohnung"_s, u"schule"_s, u"wetter"_s,  u"berg"_s};
    const QStringList endings = {u""_s, u"plan"_s, u"haus"_s, u"welt"_s, u"zeit"_s, u"buch"_s, u"kurs"_s};
    QList<QStringList> list;
    for (const QString &root : roots) {
        QStringList words;
        for (const QString &ending : endings)
            words.append(root + ending);
        list.append(words);
    }
    return list;
}();

QString words(QRandomGenerator &rng, const QStringList &pool, int count)
{
    QStringList out;
    for (int i = 0; i < count; ++i)
        out.append(pool.at(rng.bounded(int(pool.size()))));
    return out.join(u' ');
}

LibraryData library(int count, const Embedder &embedder)
{
    QRandomGenerator rng(7);
    QStringList everything;
    for (const QStringList &subject : subjects)
        everything.append(subject);
    LibraryData data;
    const QDateTime base(QDate(2026, 1, 1), QTime(8, 0), QTimeZone::utc());
    for (int i = 0; i < count; ++i) {
        const QStringList &subject = subjects.at(rng.bounded(int(subjects.size())));
        SavedTab tab;
        tab.id = QUuid::createUuid();
        tab.url = u"https://site%1.example/%2"_s.arg(i % 97).arg(i);
        tab.domain = SavedTab::domainOf(tab.url);
        tab.title = words(rng, subject, 4) + u' ' + words(rng, everything, 1);
        tab.summary = words(rng, subject, 12) + u' ' + words(rng, everything, 4);
        tab.tags = {subject.first()};
        tab.text = words(rng, subject, 80) + u' ' + words(rng, everything, 40);
        tab.savedAt = base.addSecs(i * 60);
        data.tabs.append(tab);
    }
    embedder.ensureEmbeddings(data);
    return data;
}

} // namespace

int main()
{
    qputenv("PELLMORA_NO_SEMANTIC", "1");
    const auto embedder = std::make_shared<const Embedder>(false);
    const TopicClusterer clusterer(embedder);

    std::vector<Bench::Row> rows;
    const struct
    {
        int tabs;
        int runs;
        double limit;
    } cases[] = {{400, 15, 150.0}, {10000, 5, 1500.0}};
    for (const auto &c : cases) {
        const LibraryData data = library(c.tabs, *embedder);
        qsizetype topics = 0;
        const double ms = Bench::medianMs(c.runs, [&] {
            LibraryData copy = data;
            clusterer.cluster(copy, false);
            topics = copy.topics.size();
        });
        rows.push_back({u"cluster %1 tabs, keyword names (%2 topics)"_s.arg(c.tabs).arg(topics), ms, u"ms"_s,
                        c.limit});
    }
    return Bench::report(u"Topic clusterer, vectors cached"_s, rows);
}
