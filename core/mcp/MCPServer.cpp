#include "MCPServer.h"

#include "Embedder.h"
#include "Fmt.h"
#include "JsonText.h"
#include "Library.h"
#include "SearchIndex.h"
#include "TextCut.h"
#include "PlatformWords.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonParseError>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <string>

namespace {

QJsonObject property(const QString &type, const QString &description = {})
{
    QJsonObject p{{QStringLiteral("type"), type}};
    if (!description.isEmpty())
        p.insert(QStringLiteral("description"), description);
    return p;
}

QJsonObject tool(const QString &name, const QString &description, const QJsonObject &properties,
                 const QStringList &required)
{
    QJsonArray req;
    for (const QString &r : required)
        req.append(r);
    return QJsonObject{
        {QStringLiteral("name"), name},
        {QStringLiteral("description"), description},
        {QStringLiteral("inputSchema"),
         QJsonObject{{QStringLiteral("type"), QStringLiteral("object")},
                     {QStringLiteral("properties"), properties},
                     {QStringLiteral("required"), req}}},
    };
}

QJsonObject textResult(const QString &text, bool isError)
{
    return QJsonObject{
        {QStringLiteral("content"),
         QJsonArray{QJsonObject{{QStringLiteral("type"), QStringLiteral("text")},
                                {QStringLiteral("text"), text}}}},
        {QStringLiteral("isError"), isError},
    };
}

QJsonObject success(const QJsonValue &value)
{
    return textResult(JsonText::pretty(value).value_or(QString()), false);
}

QJsonObject failure(const QString &message)
{
    return textResult(message, true);
}

// An integer argument: JSON numbers without a fraction only. Integers
// beyond 64 bits count as the largest (or smallest) one, so that the callers'
// clamping holds for them too.
std::optional<qint64> integerArgument(const QJsonObject &arguments, const QString &key)
{
    const QJsonValue v = arguments.value(key);
    if (!v.isDouble())
        return std::nullopt;
    const double d = v.toDouble();
    if (!std::isfinite(d) || d != std::floor(d))
        return std::nullopt;
    constexpr double twoTo63 = 9223372036854775808.0;
    if (d >= twoTo63)
        return std::numeric_limits<qint64>::max();
    if (d < -twoTo63)
        return std::numeric_limits<qint64>::min();
    return static_cast<qint64>(d);
}

// Skips one JSON value of valid JSON text starting at i; returns the index
// just after it.
qsizetype skipValue(const QString &text, qsizetype i)
{
    int depth = 0;
    bool inString = false;
    for (; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (inString) {
            if (c == u'\\')
                ++i;
            else if (c == u'"')
                inString = false;
            else
                continue;
            if (depth == 0 && !inString)
                return i + 1;
            continue;
        }
        if (c == u'"') {
            inString = true;
        } else if (c == u'{' || c == u'[') {
            ++depth;
        } else if (c == u'}' || c == u']') {
            if (depth == 0)
                return i;
            if (--depth == 0)
                return i + 1;
        } else if (depth == 0 && (c == u',' || c.isSpace())) {
            return i;
        }
    }
    return i;
}

// The "id" member of a request as it was written, when it is a number:
// a double cannot carry every integer a client may use as its id, and the
// reply must give the id back unchanged. `text` is a valid JSON object.
std::optional<QString> rawNumericId(const QString &text)
{
    std::optional<QString> found;
    qsizetype i = text.indexOf(u'{') + 1;
    auto skipSpace = [&] {
        while (i < text.size() && text.at(i).isSpace())
            ++i;
    };
    while (i < text.size()) {
        skipSpace();
        if (i >= text.size() || text.at(i) != u'"')
            break;
        const qsizetype keyEnd = skipValue(text, i);
        const QJsonDocument key = QJsonDocument::fromJson(u'[' + text.mid(i, keyEnd - i).toUtf8() + u']');
        i = keyEnd;
        skipSpace();
        ++i; // the colon
        skipSpace();
        const qsizetype valueEnd = skipValue(text, i);
        if (key.array().at(0).toString() == u"id") {
            const QChar first = text.at(i);
            found = (first == u'-' || first.isDigit()) ? std::optional(text.mid(i, valueEnd - i)) : std::nullopt;
        }
        i = valueEnd;
        skipSpace();
        if (i >= text.size() || text.at(i) != u',')
            break;
        ++i;
    }
    return found;
}

// The index of the first tab with the argument's id, if it names one.
std::optional<qsizetype> findTab(const QJsonObject &arguments, const LibraryData &data)
{
    const QJsonValue v = arguments.value(QStringLiteral("id"));
    if (!v.isString())
        return std::nullopt;
    const std::optional<QUuid> id = idFromText(v.toString());
    if (!id)
        return std::nullopt;
    for (qsizetype i = 0; i < data.tabs.size(); ++i) {
        if (data.tabs[i].id == *id)
            return i;
    }
    return std::nullopt;
}

QJsonObject reply(const QJsonValue &id, const QString &key, const QJsonValue &value)
{
    return QJsonObject{{QStringLiteral("jsonrpc"), QStringLiteral("2.0")},
                       {QStringLiteral("id"), id},
                       {key, value}};
}

} // namespace

MCPServer::MCPServer(LibraryStore store, const Clock &clock, EmbedderMaker makeEmbedder)
    : m_store(std::move(store)), m_clock(clock), m_makeEmbedder(std::move(makeEmbedder))
{
}

MCPServer::~MCPServer() = default;

const QJsonArray &MCPServer::toolDefinitions()
{
    static const QJsonArray tools = [] {
        const QString str = QStringLiteral("string");
        const QString integer = QStringLiteral("integer");
        return QJsonArray{
            tool(QStringLiteral("search_tabs"),
                 QStringLiteral("Sucht gespeicherte Tabs nach Bedeutung und Stichwörtern."),
                 {{QStringLiteral("query"), property(str, QStringLiteral("Suchtext oder Frage"))},
                  {QStringLiteral("limit"),
                   property(integer, QStringLiteral("Höchstzahl Treffer (Standard 10)"))}},
                 {QStringLiteral("query")}),
            tool(QStringLiteral("list_topics"),
                 QStringLiteral("Listet die Themen (KI-Gruppen) mit Anzahl Tabs."), {}, {}),
            tool(QStringLiteral("list_windows"),
                 PlatformWords::mcpWindowsTool(), {}, {}),
            tool(QStringLiteral("get_tab"),
                 QStringLiteral("Gibt einen Tab mit Zusammenfassung, Notiz und Seitentext zurück."),
                 {{QStringLiteral("id"), property(str, QStringLiteral("Tab-ID (UUID)"))}},
                 {QStringLiteral("id")}),
            tool(QStringLiteral("add_note"), QStringLiteral("Setzt die Notiz eines Tabs."),
                 {{QStringLiteral("id"), property(str)}, {QStringLiteral("note"), property(str)}},
                 {QStringLiteral("id"), QStringLiteral("note")}),
            tool(QStringLiteral("set_reminder"),
                 QStringLiteral("Setzt eine Erinnerung (ISO-8601-Datum, z. B. "
                                "2026-10-09T09:00:00+02:00)."),
                 {{QStringLiteral("id"), property(str)}, {QStringLiteral("iso_date"), property(str)}},
                 {QStringLiteral("id"), QStringLiteral("iso_date")}),
            tool(QStringLiteral("recent_tabs"),
                 QStringLiteral("Tabs, die in den letzten N Tagen gespeichert wurden."),
                 {{QStringLiteral("days"), property(integer, QStringLiteral("Anzahl Tage (Standard 7)"))}},
                 {}),
        };
    }();
    return tools;
}

QString MCPServer::claudeConfigSnippet(const QString &cliPath)
{
    return QStringLiteral("{\n"
                          "  \"mcpServers\": {\n"
                          "    \"pellmora\": {\n"
                          "      \"command\": \"")
        + cliPath
        + QStringLiteral("\",\n"
                         "      \"args\": [\"mcp\"]\n"
                         "    }\n"
                         "  }\n"
                         "}");
}

QString MCPServer::defaultCliPath()
{
    if (QCoreApplication::instance()) {
        const QString beside =
            QCoreApplication::applicationDirPath() + QStringLiteral("/pellmora-cli");
        if (QFileInfo(beside).isExecutable())
            return beside;
    }
    return QStringLiteral("/usr/bin/pellmora-cli");
}

QJsonObject MCPServer::brief(const SavedTab &tab, const LibraryData &data)
{
    QJsonArray tags;
    for (const QString &t : tab.tags)
        tags.append(t);
    QJsonObject o{
        {QStringLiteral("id"), idText(tab.id)},
        {QStringLiteral("title"), tab.title},
        {QStringLiteral("url"), tab.url},
        {QStringLiteral("domain"), tab.domain},
        {QStringLiteral("savedAt"), Fmt::iso(tab.savedAt)},
        {QStringLiteral("summary"), tab.summary},
        {QStringLiteral("tags"), tags},
        {QStringLiteral("read"), tab.isRead()},
    };
    if (const auto topic = data.topicOf(tab))
        o.insert(QStringLiteral("topic"), topic->name);
    if (const auto window = data.windowOf(tab))
        o.insert(QStringLiteral("window"), window->title);
    if (!tab.note.isEmpty())
        o.insert(QStringLiteral("note"), tab.note);
    if (tab.reminderAt)
        o.insert(QStringLiteral("reminderAt"), Fmt::iso(*tab.reminderAt));
    if (!tab.projectTags.isEmpty()) {
        QJsonArray projects;
        for (const QString &p : tab.projectTags)
            projects.append(p);
        o.insert(QStringLiteral("projects"), projects);
    }
    return o;
}

void MCPServer::run()
{
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    std::string raw;
    while (std::getline(std::cin, raw)) {
        if (!raw.empty() && raw.back() == '\r')
            raw.pop_back();
        const auto answer = handle(QString::fromUtf8(raw.data(), qsizetype(raw.size())));
        if (!answer)
            continue;
        const QByteArray bytes = answer->toUtf8() + '\n';
        std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stdout);
        std::fflush(stdout);
    }
}

std::optional<QString> MCPServer::handle(const QString &line)
{
    const QString text = line.trimmed();
    if (text.isEmpty())
        return std::nullopt;
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(text.toUtf8(), &error);
    if (error.error != QJsonParseError::NoError || !doc.isObject()) {
        return JsonText::compact(QJsonObject{
            {QStringLiteral("jsonrpc"), QStringLiteral("2.0")},
            {QStringLiteral("id"), QJsonValue::Null},
            {QStringLiteral("error"),
             QJsonObject{{QStringLiteral("code"), -32700},
                         {QStringLiteral("message"), QStringLiteral("Parse error")}}}});
    }
    const QJsonObject message = doc.object();
    if (!message.contains(QStringLiteral("id")))
        return std::nullopt;
    // A numeric id goes back as it came, through a stand-in replaced after encoding.
    const std::optional<QString> rawId =
        message.value(QStringLiteral("id")).isDouble() ? rawNumericId(text) : std::nullopt;
    const QString standIn = QStringLiteral("pellmora-id-") + QUuid::createUuid().toString(QUuid::WithoutBraces);
    const QJsonValue id = rawId ? QJsonValue(standIn) : message.value(QStringLiteral("id"));
    const QJsonValue methodValue = message.value(QStringLiteral("method"));
    const QString method = methodValue.isString() ? methodValue.toString() : QString();
    const QJsonValue paramsValue = message.value(QStringLiteral("params"));
    const QJsonObject params = paramsValue.isObject() ? paramsValue.toObject() : QJsonObject();

    QJsonObject answer;
    if (method == u"initialize") {
        const QJsonValue asked = params.value(QStringLiteral("protocolVersion"));
        answer = reply(id, QStringLiteral("result"), QJsonObject{
            {QStringLiteral("protocolVersion"), asked.isString() ? asked.toString() : protocolVersion},
            {QStringLiteral("capabilities"),
             QJsonObject{{QStringLiteral("tools"), QJsonObject{{QStringLiteral("listChanged"), false}}}}},
            {QStringLiteral("serverInfo"),
             QJsonObject{{QStringLiteral("name"), QStringLiteral("pellmora")},
                         {QStringLiteral("title"), QStringLiteral("Pellmora Tab-Bibliothek")},
                         {QStringLiteral("version"), QStringLiteral("0.1.0")}}},
            {QStringLiteral("instructions"),
             PlatformWords::mcpInstructions()},
        });
    } else if (method == u"ping") {
        answer = reply(id, QStringLiteral("result"), QJsonObject());
    } else if (method == u"tools/list") {
        answer = reply(id, QStringLiteral("result"),
                       QJsonObject{{QStringLiteral("tools"), toolDefinitions()}});
    } else if (method == u"tools/call") {
        const QJsonValue name = params.value(QStringLiteral("name"));
        const QJsonValue arguments = params.value(QStringLiteral("arguments"));
        answer = reply(id, QStringLiteral("result"),
                       callTool(name.isString() ? name.toString() : QString(),
                                arguments.isObject() ? arguments.toObject() : QJsonObject()));
    } else {
        answer = reply(id, QStringLiteral("error"),
                       QJsonObject{{QStringLiteral("code"), -32601},
                                   {QStringLiteral("message"),
                                    QStringLiteral("Method not found: ") + method}});
    }
    std::optional<QString> encoded = JsonText::compact(answer);
    if (!encoded)
        return internalErrorLine;
    if (rawId)
        encoded->replace(u'"' + standIn + u'"', *rawId);
    return encoded;
}

QJsonObject MCPServer::callTool(const QString &name, const QJsonObject &arguments)
{
    LibraryData data = m_store.load();
    if (name == u"search_tabs")
        return search(arguments, data);
    if (name == u"list_topics") {
        QJsonArray topics;
        for (const Topic &t : data.topics) {
            topics.append(QJsonObject{{QStringLiteral("id"), idText(t.id)},
                                      {QStringLiteral("name"), t.name},
                                      {QStringLiteral("tabs"), qint64(t.tabIds.size())}});
        }
        return success(topics);
    }
    if (name == u"list_windows") {
        QJsonArray windows;
        for (const SavedWindow &w : data.windows) {
            windows.append(QJsonObject{{QStringLiteral("id"), idText(w.id)},
                                       {QStringLiteral("title"), w.title},
                                       {QStringLiteral("tabs"), qint64(w.tabIds.size())},
                                       {QStringLiteral("savedAt"), Fmt::iso(w.savedAt)}});
        }
        return success(windows);
    }
    if (name == u"get_tab") {
        const auto index = findTab(arguments, data);
        if (!index)
            return failure(QStringLiteral("Tab nicht gefunden"));
        const SavedTab &tab = data.tabs[*index];
        QJsonObject o = brief(tab, data);
        o.insert(QStringLiteral("text"), TextCut::prefix(tab.text, 4000));
        return success(o);
    }
    if (name == u"add_note") {
        const auto index = findTab(arguments, data);
        const QJsonValue note = arguments.value(QStringLiteral("note"));
        if (!index || !note.isString())
            return failure(QStringLiteral("id oder note fehlt"));
        SavedTab &tab = data.tabs[*index];
        tab.note = note.toString();
        // The note is part of the searchable text, so the stored vector is stale.
        data.embeddings.remove(idText(tab.id));
        return save(data, tab);
    }
    if (name == u"set_reminder") {
        const auto index = findTab(arguments, data);
        const QJsonValue iso = arguments.value(QStringLiteral("iso_date"));
        const auto date = iso.isString() ? Fmt::parseISO(iso.toString()) : std::nullopt;
        if (!index || !date)
            return failure(QStringLiteral("id oder iso_date fehlt oder ungültig"));
        SavedTab &tab = data.tabs[*index];
        tab.reminderAt = *date;
        return save(data, tab);
    }
    if (name == u"recent_tabs")
        return recent(arguments, data);
    return failure(QStringLiteral("Unbekanntes Werkzeug: ") + name);
}

QJsonObject MCPServer::search(const QJsonObject &arguments, const LibraryData &data)
{
    const QJsonValue query = arguments.value(QStringLiteral("query"));
    if (!query.isString() || query.toString().isEmpty())
        return failure(QStringLiteral("query fehlt"));
    const qint64 limit =
        std::clamp<qint64>(integerArgument(arguments, QStringLiteral("limit")).value_or(10), 1, 50);
    if (!m_index) {
        if (m_makeEmbedder)
            m_embedder = m_makeEmbedder();
        if (!m_embedder)
            m_embedder = std::make_shared<const Embedder>(true);
        m_index = std::make_unique<SearchIndex>(m_embedder);
    }
    // Vectors missing for this kind are made once and written back, so no
    // later search, here or in another process, makes them again.
    const LibraryData *searched = &data;
    LibraryData completed;
    if (!m_embedder->hasEmbeddings(data)) {
        completed = data;
        m_embedder->ensureEmbeddings(completed);
        // A failed write costs only time: the next search makes them again.
        (void)m_store.save(completed);
        searched = &completed;
    }
    QJsonArray hits;
    for (const SearchHit &hit : m_index->hits(query.toString(), *searched, limit)) {
        QJsonObject o = brief(hit.tab, data);
        const float rounded = std::round(hit.score * 1000.0f) / 1000.0f;
        o.insert(QStringLiteral("score"), double(rounded));
        hits.append(o);
    }
    return success(hits);
}

QJsonObject MCPServer::recent(const QJsonObject &arguments, const LibraryData &data) const
{
    // Beyond a million days (some 2,700 years) every tab counts anyway; the
    // cap keeps the seconds below from overflowing.
    const qint64 days = std::clamp<qint64>(
        integerArgument(arguments, QStringLiteral("days")).value_or(7), 1, 1'000'000);
    const QDateTime cutoff = m_clock.now().addSecs(-days * 86400);
    QList<const SavedTab *> tabs;
    for (const SavedTab &tab : data.tabs) {
        if (tab.savedAt >= cutoff)
            tabs.append(&tab);
    }
    std::stable_sort(tabs.begin(), tabs.end(),
                     [](const SavedTab *a, const SavedTab *b) { return a->savedAt > b->savedAt; });
    QJsonArray out;
    for (qsizetype i = 0; i < tabs.size() && i < 100; ++i)
        out.append(brief(*tabs[i], data));
    return success(out);
}

QJsonObject MCPServer::save(const LibraryData &data, const SavedTab &changed) const
{
    const Status saved = m_store.save(data);
    if (!saved)
        return failure(Library::saveFailedMessage(saved.error()));
    return success(brief(changed, data));
}
