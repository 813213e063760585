#include <QCoreApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRandomGenerator>
#include <QTimeZone>

#include <algorithm>
#include <cstdio>
#include <vector>

#include "BenchTable.h"
#include "LibraryCodec.h"

using namespace Qt::StringLiterals;

// Reading and writing a large library file, against Qt's own JSON document
// on the same bytes.
namespace {

const QStringList words = {u"Garten"_s,   u"Kamera"_s, u"Velo"_s,    u"Projekt"_s, u"Reise"_s,
                           u"M\u00f6bel"_s, u"Bahn"_s,   u"Zeitung"_s, u"K\u00e4se"_s,  u"Z\u00fcrich"_s,
                           u"Steuer"_s,   u"Wohnung"_s, u"Schule"_s, u"Wetter"_s,  u"Berg"_s,
                           u"\u00e9t\u00e9"_s, u"Caf\u00e9"_s, u"\u201cZitat\u201d"_s, u"a/b"_s,
                           u"Line\nbreak"_s, u"Tab\there"_s, u"\"quoted\""_s, u"\U0001F319"_s};

QString text(QRandomGenerator &rng, int characters)
{
    QString out;
    out.reserve(characters + 16);
    while (out.size() < characters) {
        out += words[rng.bounded(int(words.size()))];
        out += u' ';
    }
    out.truncate(characters);
    if (out.back().isHighSurrogate()) // never leave half an emoji behind
        out.chop(1);
    return out;
}

LibraryData library(int count)
{
    QRandomGenerator rng(7);
    LibraryData data;
    const QDateTime base(QDate(2026, 1, 1), QTime(8, 0), QTimeZone::utc());
    SavedWindow window;
    window.id = QUuid::createUuid();
    window.savedAt = base;
    window.title = u"Fenster 1 \u00b7 01.01. 09:00"_s;
    Topic topic;
    topic.id = QUuid::createUuid();
    topic.name = u"Reisen"_s;
    topic.color = u"blue"_s;
    for (int i = 0; i < count; ++i) {
        SavedTab tab;
        tab.id = QUuid::createUuid();
        tab.url = u"https://www.site%1.example/path/%2?q=%3"_s.arg(i % 97).arg(i).arg(i * 7);
        tab.domain = SavedTab::domainOf(tab.url);
        tab.title = text(rng, 60);
        tab.summary = text(rng, 300);
        tab.text = text(rng, 2000);
        tab.savedAt = base.addSecs(i * 61);
        tab.windowId = window.id;
        tab.windowIndex = 1;
        tab.tabIndex = i + 1;
        tab.tags = {words[rng.bounded(int(words.size()))]};
        if (i % 3 == 0)
            tab.topicId = topic.id;
        if (i % 50 == 0)
            tab.reminderAt = base.addDays(30);
        window.tabIds.append(tab.id);
        if (tab.topicId)
            topic.tabIds.append(tab.id);
        Vector vector(256);
        for (float &f : vector)
            f = static_cast<float>(rng.generateDouble() * 2.0 - 1.0);
        data.embeddings.insert(idText(tab.id), vector);
        data.tabs.append(tab);
    }
    data.windows = {window};
    data.topics = {topic};
    data.embedderKind = u"hash"_s;
    return data;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const LibraryData data = library(10000);
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const Result<QByteArray> bytes = LibraryCodec::encode(data);
    if (!bytes) {
        std::fprintf(stderr, "encode failed\n");
        return 1;
    }
    const QByteArray file = *bytes;
    const Result<LibraryData> check = LibraryCodec::decode(file, now);
    if (!check || !(*check == data)) {
        std::fprintf(stderr, "round trip failed: %s\n", check ? "data differs" : qPrintable(check.error()));
        return 1;
    }
    const QJsonDocument document = QJsonDocument::fromJson(file);
    if (document.isNull()) {
        std::fprintf(stderr, "QJsonDocument rejected the file\n");
        return 1;
    }

    // Rounds of all four, so that a slow spell of the machine weighs on
    // ours and Qt's alike; the ratios are the medians of each round's.
    const int runs = 11;
    qsizetype sink = 0;
    std::vector<double> decodes, encodes, qtReads, qtWrites, readRatios, writeRatios;
    for (int i = 0; i < runs; ++i) {
        const double decodeMs = Bench::medianMs(1, [&] {
            const Result<LibraryData> d = LibraryCodec::decode(file, now);
            sink += d ? d->tabs.size() : 0;
        });
        const double qtReadMs = Bench::medianMs(1, [&] { sink += QJsonDocument::fromJson(file).object().size(); });
        const double encodeMs = Bench::medianMs(1, [&] {
            const Result<QByteArray> b = LibraryCodec::encode(data);
            sink += b ? b->size() : 0;
        });
        const double qtWriteMs = Bench::medianMs(1, [&] { sink += document.toJson(QJsonDocument::Compact).size(); });
        decodes.push_back(decodeMs);
        encodes.push_back(encodeMs);
        qtReads.push_back(qtReadMs);
        qtWrites.push_back(qtWriteMs);
        readRatios.push_back(100 * decodeMs / qtReadMs);
        writeRatios.push_back(100 * encodeMs / qtWriteMs);
    }
    const auto median = [](std::vector<double> v) {
        std::nth_element(v.begin(), v.begin() + std::ptrdiff_t(v.size() / 2), v.end());
        return v[v.size() / 2];
    };
    const double decode = median(decodes), encode = median(encodes);
    const double qtRead = median(qtReads), qtWrite = median(qtWrites);
    std::printf("file: %.1f MB, %lld tabs (checksum %lld)\n", double(file.size()) / 1e6,
                static_cast<long long>(data.tabs.size()), static_cast<long long>(sink));

    return Bench::report(u"Library file, 10,000 tabs (median of %1 runs)"_s.arg(runs),
                         {{u"decode into LibraryData"_s, decode, u"ms"_s, 150},
                          {u"encode to bytes"_s, encode, u"ms"_s, 150},
                          {u"QJsonDocument::fromJson"_s, qtRead, u"ms"_s, 0},
                          {u"QJsonDocument::toJson(Compact)"_s, qtWrite, u"ms"_s, 0},
                          {u"decode time in % of fromJson (4x faster = 25)"_s, median(readRatios), u"%"_s, 25},
                          {u"encode time in % of toJson (4x faster = 25)"_s, median(writeRatios), u"%"_s, 25}});
}
