// Cold starts on big libraries, measured from outside: every call is a fresh
// `pellmora-cli` process on a library file like a real one (title, summary of
// 14 words, about 2,000 characters of page text and one vector per tab), at
// 10,000 and 30,000 tabs. Python's json.load of the same file, measured in the
// same run, is the yardstick for loading.
//
// Also checks that the ranking of a few queries on the 10,000-tab library is
// still the one recorded in cold_start_ranking.txt.
#include "BenchTable.h"
#include "Embedder.h"
#include "LibraryStore.h"
#include "SearchIndex.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTextStream>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

using namespace Qt::StringLiterals;

namespace {

// Words of pages as people keep them: frequent short words first, then a long
// tail of longer ones, some with umlauts; drawn with a Zipf distribution.
class Words
{
public:
    Words()
    {
        const QStringList common = {
            u"der"_s, u"die"_s, u"und"_s, u"the"_s, u"in"_s, u"zu"_s, u"den"_s, u"das"_s, u"of"_s,
            u"nicht"_s, u"von"_s, u"sie"_s, u"ist"_s, u"to"_s, u"and"_s, u"mit"_s, u"f\u00fcr"_s,
            u"auf"_s, u"eine"_s, u"auch"_s, u"als"_s, u"an"_s, u"wird"_s, u"\u00fcber"_s, u"bei"_s,
            u"Zug"_s, u"Fahrplan"_s, u"Rezept"_s, u"Kartoffeln"_s, u"Wanderung"_s, u"Berge"_s,
            u"Steuern"_s, u"Versicherung"_s, u"Kamera"_s, u"Objektiv"_s, u"Compiler"_s, u"Hotel"_s,
            u"Flug"_s, u"Budget"_s, u"Aktien"_s, u"Garten"_s, u"Velo"_s, u"Konzert"_s, u"Museum"_s,
            u"Sprache"_s, u"Kurs"_s, u"Wohnung"_s, u"Miete"_s, u"Rechnung"_s, u"B\u00fcro"_s,
            u"M\u00f6bel"_s, u"K\u00e4se"_s, u"Gr\u00fcnde"_s, u"Z\u00fcrich"_s, u"release"_s,
            u"update"_s, u"library"_s, u"server"_s, u"Preis"_s, u"Jahr"_s, u"Stadt"_s,
        };
        const QStringList syllables = {
            u"ber"_s, u"ga"_s, u"tun"_s, u"schaf"_s, u"lich"_s, u"keit"_s, u"ver"_s, u"an"_s,
            u"ge"_s, u"stein"_s, u"bahn"_s, u"wolk"_s, u"m\u00e4"_s, u"f\u00fc"_s, u"r\u00f6"_s,
            u"o"_s, u"ka"_s, u"ti"_s, u"mus"_s, u"tra"_s, u"hof"_s, u"land"_s, u"sen"_s, u"rat"_s,
            u"pro"_s, u"dukt"_s, u"i"_s, u"on"_s, u"net"_s, u"work"_s, u"zeit"_s, u"ung"_s,
        };
        m_words = common;
        QRandomGenerator rng(7);
        while (m_words.size() < 20000) {
            QString w;
            const int parts = 2 + rng.bounded(3);
            for (int i = 0; i < parts; ++i)
                w += syllables.at(rng.bounded(int(syllables.size())));
            if (rng.bounded(3) == 0)
                w[0] = w[0].toUpper();
            m_words.append(w);
        }
        double sum = 0;
        m_cumulative.reserve(size_t(m_words.size()));
        for (qsizetype r = 0; r < m_words.size(); ++r) {
            sum += 1.0 / double(r + 1);
            m_cumulative.push_back(sum);
        }
    }

    const QString &pick(QRandomGenerator &rng) const
    {
        const double x = rng.generateDouble() * m_cumulative.back();
        const auto it = std::lower_bound(m_cumulative.begin(), m_cumulative.end(), x);
        return m_words.at(std::min<qsizetype>(it - m_cumulative.begin(), m_words.size() - 1));
    }

    QString phrase(QRandomGenerator &rng, int count) const
    {
        QString out;
        for (int i = 0; i < count; ++i) {
            if (i)
                out += u' ';
            out += pick(rng);
        }
        if (!out.isEmpty())
            out[0] = out[0].toUpper();
        return out;
    }

    // Sentences of 6 to 17 words up to about `length` characters.
    QString text(QRandomGenerator &rng, qsizetype length) const
    {
        QString out;
        out.reserve(length + 200);
        while (out.size() < length) {
            if (!out.isEmpty())
                out += rng.bounded(5) == 0 ? u'\n' : u' ';
            out += phrase(rng, 6 + rng.bounded(12));
            out += rng.bounded(8) == 0 ? u"?"_s : u"."_s;
        }
        return out;
    }

private:
    QStringList m_words;
    std::vector<double> m_cumulative;
};

QUuid uuid(QRandomGenerator &rng)
{
    const quint64 a = rng.generate64();
    const quint64 b = rng.generate64();
    return QUuid(uint(a >> 32), ushort(a >> 16), ushort((a & 0x0fff) | 0x4000), uchar(0x80 | ((b >> 56) & 0x3f)),
                 uchar(b >> 48), uchar(b >> 40), uchar(b >> 32), uchar(b >> 24), uchar(b >> 16), uchar(b >> 8),
                 uchar(b));
}

LibraryData library(const Words &words, int count)
{
    QRandomGenerator rng(42);
    LibraryData data;
    data.tabs.reserve(count);
    const QDateTime base(QDate(2026, 11, 1), QTime(8, 0), Qt::UTC);
    for (int i = 0; i < count; ++i) {
        SavedTab tab;
        tab.id = uuid(rng);
        tab.domain = u"site%1.ch"_s.arg(i % 400);
        tab.url = u"https://%1/%2/%3"_s.arg(tab.domain, words.pick(rng).toLower()).arg(i);
        tab.title = words.phrase(rng, 4 + rng.bounded(5));
        tab.summary = words.phrase(rng, 14) + u'.';
        tab.text = words.text(rng, 2000);
        if (rng.bounded(3) == 0)
            tab.tags = {words.pick(rng)};
        if (rng.bounded(20) == 0)
            tab.note = words.phrase(rng, 6);
        tab.savedAt = base.addSecs(-qint64(i) * 600);
        tab.windowIndex = 1 + i / 25;
        tab.tabIndex = 1 + i % 25;
        data.tabs.append(tab);
    }
    for (int w = 0; w * 25 < count; ++w) {
        SavedWindow window;
        window.id = uuid(rng);
        window.savedAt = data.tabs.at(w * 25).savedAt;
        window.title = SavedWindow::makeTitle(1, window.savedAt);
        for (int i = w * 25; i < std::min(count, w * 25 + 25); ++i) {
            data.tabs[i].windowId = window.id;
            window.tabIds.append(data.tabs.at(i).id);
        }
        data.windows.append(window);
    }
    const int topics = count / 100;
    for (int t = 0; t < topics; ++t) {
        Topic topic;
        topic.id = uuid(rng);
        topic.name = words.phrase(rng, 2);
        topic.color = u"blue"_s;
        data.topics.append(topic);
    }
    for (int i = 0; i < count; ++i) {
        Topic &topic = data.topics[rng.bounded(topics)];
        topic.tabIds.append(data.tabs.at(i).id);
        data.tabs[i].topicId = topic.id;
    }
    // The application keeps every tab's vector in the file; so does this one.
    // A model's vectors have no zero components, so each gets a little noise.
    Embedder(true).ensureEmbeddings(data);
    for (const SavedTab &tab : std::as_const(data.tabs)) {
        Vector &v = data.embeddings[idText(tab.id)];
        for (float &x : v)
            x += float(rng.generateDouble() * 0.02 - 0.01);
        v = Embedder::normalized(v);
    }
    return data;
}

struct Run
{
    double ms = 0;
    double cpuMs = 0; // user and system time
    double peakMB = 0;
    QByteArray out;
    bool ok = false;
};

// One fresh process: `input` on its standard input, the time until it ends
// and its peak resident memory.
Run spawn(const QStringList &command, const QByteArray &input, const QString &scratch)
{
    Run run;
    const QString inPath = scratch + u"/in"_s;
    const QString outPath = scratch + u"/out"_s;
    {
        QFile in(inPath);
        if (!in.open(QIODevice::WriteOnly | QIODevice::Truncate) || in.write(input) != input.size())
            return run;
    }
    std::vector<QByteArray> argBytes;
    for (const QString &a : command)
        argBytes.push_back(a.toLocal8Bit());
    std::vector<char *> argv;
    for (QByteArray &a : argBytes)
        argv.push_back(a.data());
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, QFile::encodeName(inPath).constData(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, QFile::encodeName(outPath).constData(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0600);
    timespec start{}, end{};
    clock_gettime(CLOCK_MONOTONIC, &start);
    pid_t pid = 0;
    const int spawned = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0)
        return run;
    int status = 0;
    rusage usage{};
    if (wait4(pid, &status, 0, &usage) != pid)
        return run;
    clock_gettime(CLOCK_MONOTONIC, &end);
    run.ms = double(end.tv_sec - start.tv_sec) * 1e3 + double(end.tv_nsec - start.tv_nsec) / 1e6;
    run.peakMB = double(usage.ru_maxrss) / 1024.0;
    run.cpuMs = double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1e3
        + double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e3;
    QFile out(outPath);
    if (out.open(QIODevice::ReadOnly))
        run.out = out.readAll();
    run.ok = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    return run;
}

struct Figure
{
    double ms = 0;     // median
    double cpuMs = 0;  // median
    double peakMB = 0; // largest
    bool ok = true;
};

// Five fresh processes (after one to warm the page cache); `check` judges
// each one's output.
template <typename MakeInput, typename Check>
Figure measure(const QStringList &command, MakeInput makeInput, Check check, const QString &scratch)
{
    Figure figure;
    std::vector<double> times, cpu;
    for (int i = 0; i < 6; ++i) {
        const Run run = spawn(command, makeInput(i), scratch);
        figure.ok = figure.ok && run.ok && check(run.out);
        if (i == 0)
            continue;
        times.push_back(run.ms);
        cpu.push_back(run.cpuMs);
        figure.peakMB = std::max(figure.peakMB, run.peakMB);
    }
    std::sort(times.begin(), times.end());
    std::sort(cpu.begin(), cpu.end());
    figure.ms = times[times.size() / 2];
    figure.cpuMs = cpu[cpu.size() / 2];
    return figure;
}

QByteArray toolCall(const QString &tool, const QString &arguments)
{
    return (u"{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"tools/call\",\"params\":{\"name\":\"%1\",\"arguments\":%2}}\n"_s
                .arg(tool, arguments))
        .toUtf8();
}

bool succeeded(const QByteArray &out)
{
    return out.contains("\"isError\":false");
}

const QStringList queries = {u"Wanderung Berge Hotel"_s, u"Objektiv f\u00fcr die Kamera"_s,
                             u"Fahrplan Z\u00fcrich"_s, u"bahnhof"_s};

// The top ten of each query, one line per hit: query number, id, score; each
// query once as an index's first search and once after the others.
QStringList ranking(const LibraryData &data, bool first)
{
    const auto embedder = std::make_shared<const Embedder>(true);
    const SearchIndex shared(embedder);
    shared.hits(u"Garten"_s, data, 1);
    QStringList lines;
    for (qsizetype q = 0; q < queries.size(); ++q) {
        const SearchIndex index = first ? SearchIndex(embedder) : shared;
        for (const SearchHit &hit : index.hits(queries.at(q), data, 10))
            lines.append(u"%1 %2 %3"_s.arg(q).arg(idText(hit.tab.id)).arg(double(hit.score), 0, 'g', 9));
    }
    return lines;
}

} // namespace

// Writes the library of `count` tabs to `path`; prints the id of its first
// tab and whether the 10,000-tab ranking is the recorded one. Runs in a
// process of its own, so that the measuring process stays small: a child's
// peak memory counts its parent's at the moment it was started.
int writeLibrary(int count, const QString &path)
{
    const Words words;
    const LibraryData data = library(words, count);
    bool same = true;
    if (count == 10000) {
        QFile recorded(QStringLiteral(PELLMORA_RANKING_PATH));
        const QStringList now = ranking(data, true);
        if (qEnvironmentVariableIsSet("PELLMORA_RECORD_RANKING")) {
            if (recorded.open(QIODevice::WriteOnly | QIODevice::Truncate))
                recorded.write((now.join(u'\n') + u'\n').toUtf8());
        } else if (!recorded.open(QIODevice::ReadOnly)) {
            same = false;
        } else {
            const QStringList expected = QString::fromUtf8(recorded.readAll()).split(u'\n', Qt::SkipEmptyParts);
            same = now == expected && ranking(data, false) == expected;
        }
    }
    if (!LibraryStore(path).save(data).ok())
        return 1;
    std::printf("%s %d\n", qPrintable(idText(data.tabs.first().id)), same ? 1 : 0);
    return 0;
}

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    if (argc == 4 && qstrcmp(argv[1], "--write") == 0)
        return writeLibrary(QByteArray(argv[2]).toInt(), QString::fromLocal8Bit(argv[3]));

    QTemporaryDir home;
    const QString scratch = home.path();
    QDir(scratch).mkpath(u"config"_s);
    qputenv("XDG_DATA_HOME", scratch.toLocal8Bit());
    qputenv("XDG_CONFIG_HOME", (scratch + u"/config"_s).toLocal8Bit());
    // Another build's program can be measured in the same way.
    const QString cli = qEnvironmentVariableIsSet("PELLMORA_BENCH_CLI")
        ? qEnvironmentVariable("PELLMORA_BENCH_CLI")
        : QStringLiteral(PELLMORA_CLI_PATH);
    const QString libraryPath = scratch + u"/Pellmora/library.json"_s;

    std::vector<Bench::Row> rows;
    bool ok = true;
    bool sameRanking = true;
    for (const int count : {10000, 30000}) {
        QDir(scratch + u"/Pellmora"_s).removeRecursively();
        const Run written = spawn({QCoreApplication::applicationFilePath(), u"--write"_s,
                                   QString::number(count), libraryPath},
                                  {}, scratch);
        const QList<QByteArray> answer = written.out.trimmed().split(' ');
        if (!written.ok || answer.size() != 2)
            return 1;
        const QString firstId = QString::fromLatin1(answer.at(0));
        sameRanking = sameRanking && answer.at(1) == "1";
        const double fileMB = double(QFileInfo(libraryPath).size()) / (1024.0 * 1024.0);
        const QString size = u"%1k"_s.arg(count / 1000);
        const auto fixed = [](const QByteArray &bytes) { return [bytes](int) { return bytes; }; };

        // json.load alone, timed inside the interpreter (its start not counted).
        const QStringList python = {
            u"/usr/bin/python3"_s, u"-c"_s,
            u"import json,sys,time\nt=time.perf_counter()\nwith open(sys.argv[1],'rb') as f: json.load(f)\n"
            u"print((time.perf_counter()-t)*1000)"_s,
            libraryPath};
        std::vector<double> loads, pythonCpu;
        for (int i = 0; i < 5; ++i) {
            const Run run = spawn(python, {}, scratch);
            ok = ok && run.ok;
            loads.push_back(run.out.trimmed().toDouble());
            pythonCpu.push_back(run.cpuMs);
        }
        std::sort(loads.begin(), loads.end());
        std::sort(pythonCpu.begin(), pythonCpu.end());
        const double jsonLoad = loads[2];

        const QStringList mcp = {cli, u"mcp"_s};
        const Figure search = measure(
            mcp,
            [](int i) {
                return toolCall(u"search_tabs"_s,
                                u"{\"query\":\"%1\",\"limit\":10}"_s.arg(queries.at(i % queries.size())));
            },
            succeeded, scratch);
        const Figure cliSearch = measure(
            {cli, u"search"_s, u"Wanderung Berge Hotel"_s}, fixed({}),
            [](const QByteArray &out) { return out.contains("https://"); }, scratch);
        const Figure topics = measure(mcp, fixed(toolCall(u"list_topics"_s, u"{}"_s)), succeeded, scratch);
        // The first change of the day makes the day's backup; the five
        // measured ones find it there.
        const Figure note = measure(
            mcp,
            [&](int i) {
                return toolCall(u"add_note"_s, u"{\"id\":\"%1\",\"note\":\"Notiz %2\"}"_s.arg(firstId).arg(i));
            },
            succeeded, scratch);
        ok = ok && search.ok && cliSearch.ok && topics.ok && note.ok;

        const double searchGoal = count == 10000 ? 250 : 700;
        const double noteGoal = count == 10000 ? 450 : 1200;
        const double peak = std::max({search.peakMB, cliSearch.peakMB, topics.peakMB, note.peakMB});
        rows.push_back({size + u" file size"_s, fileMB, u"MB"_s, 0});
        rows.push_back({size + u" python3 json.load (in process)"_s, jsonLoad, u"ms"_s, 0});
        rows.push_back({size + u"   CPU time of the whole python3"_s, pythonCpu[2], u"ms"_s, 0});
        rows.push_back({size + u" MCP search_tabs, cold"_s, search.ms, u"ms"_s, searchGoal});
        rows.push_back({size + u"   CPU time (the machine may be shared)"_s, search.cpuMs, u"ms"_s, 0});
        rows.push_back({size + u"   = x json.load"_s, search.ms / jsonLoad, u"x"_s, 0});
        rows.push_back({size + u" pellmora-cli search"_s, cliSearch.ms, u"ms"_s, searchGoal});
        rows.push_back({size + u"   CPU time"_s, cliSearch.cpuMs, u"ms"_s, 0});
        rows.push_back({size + u" MCP list_topics"_s, topics.ms, u"ms"_s, 0.2 * jsonLoad});
        rows.push_back({size + u"   CPU time"_s, topics.cpuMs, u"ms"_s, 0});
        rows.push_back({size + u"   = x json.load (goal 0.2)"_s, topics.ms / jsonLoad, u"x"_s, 0.2});
        rows.push_back({size + u" MCP add_note (no backup)"_s, note.ms, u"ms"_s, noteGoal});
        rows.push_back({size + u"   CPU time"_s, note.cpuMs, u"ms"_s, 0});
        rows.push_back({size + u"   = x json.load"_s, note.ms / jsonLoad, u"x"_s, 0});
        rows.push_back({size + u" peak RSS search_tabs"_s, search.peakMB, u"MB"_s, 2 * fileMB});
        rows.push_back({size + u" peak RSS cli search"_s, cliSearch.peakMB, u"MB"_s, 2 * fileMB});
        rows.push_back({size + u" peak RSS list_topics"_s, topics.peakMB, u"MB"_s, 2 * fileMB});
        rows.push_back({size + u" peak RSS add_note"_s, note.peakMB, u"MB"_s, 2 * fileMB});
        rows.push_back({size + u" peak RSS of all / file size"_s, peak / fileMB, u"x"_s, 2});
    }
    rows.push_back({u"10k ranking as recorded (1 = yes)"_s, sameRanking ? 1.0 : 0.0, u""_s, 0});
    rows.push_back({u"every call answered (1 = yes)"_s, ok ? 1.0 : 0.0, u""_s, 0});
    const int status = Bench::report(u"Cold start, fresh pellmora-cli per call, median of 5"_s, rows);
    return ok && sameRanking ? status : 1;
}
