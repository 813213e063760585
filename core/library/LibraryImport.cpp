#include "LibraryImport.h"

#include "LibraryCodec.h"
#include "TextCut.h"
#include "WebAddress.h"

#include <QHash>
#include <QRegularExpression>
#include <QSet>
#include <QUrl>

namespace {

// How often (in lines) progress is reported and the stop token looked at.
constexpr qint64 reportEvery = 1024;

QByteArrayView withoutBom(QByteArrayView bytes)
{
    return bytes.startsWith("\xEF\xBB\xBF") ? bytes.sliced(3) : bytes;
}

// Something a browser could open again: an absolute address with a scheme,
// and a host where the scheme needs one. Bookmark queries and scripts are not pages.
bool isAddress(const QString &text)
{
    const QUrl url = WebAddress::parse(text);
    if (!url.isValid() || url.scheme().isEmpty() || text.contains(u' '))
        return false;
    const QString scheme = url.scheme().toLower();
    if (scheme == u"javascript" || scheme == u"place" || scheme == u"data")
        return false;
    if (scheme == u"http" || scheme == u"https" || scheme == u"ftp")
        return !url.host().isEmpty();
    return true;
}

QString notAnAddress(const QString &text)
{
    return QStringLiteral("keine gültige Adresse: ") + TextCut::prefix(text, 80);
}

ImportResult parseLines(QByteArrayView bytes, const LibraryImport::Progress &progress,
                        const std::stop_token &stop)
{
    ImportResult result;
    ImportedWindow window;
    const auto closeWindow = [&] {
        if (!window.tabs.isEmpty())
            result.windows.append(std::move(window));
        window = ImportedWindow{};
    };
    const qint64 total = bytes.size();
    qint64 pos = 0;
    qint64 lineNumber = 0;
    while (pos < total) {
        qint64 end = bytes.indexOf('\n', pos);
        if (end < 0)
            end = total;
        QByteArrayView raw = bytes.sliced(pos, end - pos);
        pos = end + 1;
        ++lineNumber;
        if (lineNumber % reportEvery == 0) {
            if (stop.stop_requested()) {
                result.cancelled = true;
                return result;
            }
            if (progress)
                progress(std::min(pos, total), total);
        }
        const QString line = QString::fromUtf8(raw).trimmed();
        if (line.isEmpty()) {
            closeWindow(); // a blank line ends a window
            continue;
        }
        QString url = line;
        QString title;
        if (const qsizetype bar = line.indexOf(QLatin1String(" | ")); bar >= 0) {
            url = line.first(bar).trimmed();
            title = line.sliced(bar + 3).trimmed();
        } else if (line.endsWith(QLatin1String(" |"))) {
            url = line.chopped(2).trimmed();
        }
        if (!isAddress(url)) {
            result.problems.append({lineNumber, notAnAddress(url)});
            continue;
        }
        window.tabs.append(ImportedTab{url, title, {}, {}, std::nullopt, lineNumber});
    }
    closeWindow();
    if (progress)
        progress(total, total);
    return result;
}

// --- Netscape bookmark files -------------------------------------------------

QString decodeEntities(QStringView text)
{
    if (!text.contains(u'&'))
        return text.toString();
    static const QHash<QString, QString> named = {
        {QStringLiteral("amp"), QStringLiteral("&")},   {QStringLiteral("lt"), QStringLiteral("<")},
        {QStringLiteral("gt"), QStringLiteral(">")},    {QStringLiteral("quot"), QStringLiteral("\"")},
        {QStringLiteral("apos"), QStringLiteral("'")},  {QStringLiteral("nbsp"), QString(QChar(0x00A0))},
    };
    QString out;
    out.reserve(text.size());
    qsizetype i = 0;
    while (i < text.size()) {
        const QChar c = text[i];
        const qsizetype semi = c == u'&' ? text.indexOf(u';', i + 1) : -1;
        if (semi < 0 || semi - i > 10) {
            out += c;
            ++i;
            continue;
        }
        const QStringView name = text.sliced(i + 1, semi - i - 1);
        if (name.startsWith(u'#')) {
            bool ok = false;
            const uint code = name.size() > 1 && (name[1] == u'x' || name[1] == u'X')
                                  ? name.sliced(2).toUInt(&ok, 16)
                                  : name.sliced(1).toUInt(&ok, 10);
            if (ok && code > 0 && code <= 0x10FFFF && !(code >= 0xD800 && code <= 0xDFFF)) {
                const char32_t scalar = code;
                out += QString::fromUcs4(&scalar, 1);
                i = semi + 1;
                continue;
            }
        } else if (const auto it = named.constFind(name.toString().toLower()); it != named.cend()) {
            out += *it;
            i = semi + 1;
            continue;
        }
        out += c; // not an entity we know: keep the text as written
        ++i;
    }
    return out;
}

struct Tag
{
    QString name; // upper case, without the slash
    bool closing = false;
    QHash<QString, QString> attributes; // names upper case, values decoded
};

// Reads the tag that starts at text[at] == '<'; returns the position after '>'.
qsizetype readTag(const QString &text, qsizetype at, Tag &tag)
{
    const qsizetype n = text.size();
    qsizetype i = at + 1;
    if (i < n && text[i] == u'/') {
        tag.closing = true;
        ++i;
    }
    const qsizetype nameStart = i;
    while (i < n && (text[i].isLetterOrNumber() || text[i] == u'!'))
        ++i;
    tag.name = text.sliced(nameStart, i - nameStart).toUpper();
    while (i < n && text[i] != u'>') {
        if (text[i].isSpace() || text[i] == u'/') {
            ++i;
            continue;
        }
        const qsizetype attrStart = i;
        while (i < n && !text[i].isSpace() && text[i] != u'=' && text[i] != u'>')
            ++i;
        const QString attr = text.sliced(attrStart, i - attrStart).toUpper();
        while (i < n && text[i].isSpace())
            ++i;
        QString value;
        if (i < n && text[i] == u'=') {
            ++i;
            while (i < n && text[i].isSpace())
                ++i;
            if (i < n && (text[i] == u'"' || text[i] == u'\'')) {
                const QChar quote = text[i];
                const qsizetype close = text.indexOf(quote, i + 1);
                const qsizetype valueEnd = close < 0 ? n : close;
                value = decodeEntities(QStringView(text).sliced(i + 1, valueEnd - i - 1));
                i = close < 0 ? n : close + 1;
            } else {
                const qsizetype valueStart = i;
                while (i < n && !text[i].isSpace() && text[i] != u'>')
                    ++i;
                value = decodeEntities(QStringView(text).sliced(valueStart, i - valueStart));
            }
        }
        if (!attr.isEmpty() && !tag.attributes.contains(attr))
            tag.attributes.insert(attr, value);
    }
    return i < n ? i + 1 : n;
}

ImportResult parseBookmarks(QByteArrayView bytes, const LibraryImport::Progress &progress,
                            const std::stop_token &stop)
{
    const QString text = QString::fromUtf8(bytes);
    const qint64 total = bytes.size();
    ImportResult result;

    // Every <DL> is a folder of its own; its links become one window, named
    // by the path of folder names that lead to it.
    struct Folder
    {
        QString path;
        qsizetype window = -1; // index into result.windows once it holds a link
    };
    QList<Folder> folders;
    QString pendingName;

    enum class Capture { none, folderName, link, description };
    Capture capture = Capture::none;
    QString buffer;
    QString href;
    qint64 linkLine = 0;
    // The link a following <DD> describes, as (window, tab); window -1 when none.
    std::pair<qsizetype, qsizetype> lastTab{-1, -1};

    qint64 line = 1;
    qsizetype counted = 0; // text[0, counted) has been scanned for line ends
    const auto lineAt = [&](qsizetype at) {
        for (; counted < at; ++counted)
            line += text[counted] == u'\n' ? 1 : 0;
        return line;
    };

    const auto finishDescription = [&] {
        if (capture == Capture::description && lastTab.first >= 0) {
            const QString note = decodeEntities(buffer).trimmed();
            if (!note.isEmpty())
                result.windows[lastTab.first].tabs[lastTab.second].note = note;
        }
        if (capture == Capture::description)
            capture = Capture::none;
    };
    const auto finishLink = [&] {
        capture = Capture::none;
        lastTab = {-1, -1};
        if (!isAddress(href)) {
            result.problems.append({linkLine, href.isEmpty()
                                                   ? QStringLiteral("Lesezeichen ohne Adresse")
                                                   : notAnAddress(href)});
            return;
        }
        if (folders.isEmpty())
            folders.append(Folder{}); // a link outside any list still counts
        Folder &folder = folders.last();
        if (folder.window < 0) {
            folder.window = result.windows.size();
            result.windows.append(ImportedWindow{folder.path, {}});
        }
        auto &tabs = result.windows[folder.window].tabs;
        tabs.append(ImportedTab{href, decodeEntities(buffer).trimmed(), {}, {}, std::nullopt, linkLine});
        lastTab = {folder.window, tabs.size() - 1};
    };

    qsizetype pos = 0;
    qint64 tags = 0;
    while (pos < text.size()) {
        const qsizetype lt = text.indexOf(u'<', pos);
        const qsizetype textEnd = lt < 0 ? text.size() : lt;
        if (capture != Capture::none)
            buffer += QStringView(text).sliced(pos, textEnd - pos);
        if (lt < 0)
            break;
        if (QStringView(text).sliced(lt).startsWith(u"<!--")) {
            const qsizetype close = text.indexOf(QLatin1String("-->"), lt + 4);
            pos = close < 0 ? text.size() : close + 3;
            continue;
        }
        if (++tags % reportEvery == 0) {
            if (stop.stop_requested()) {
                result.cancelled = true;
                return result;
            }
            if (progress)
                progress(std::min<qint64>(total, lt * total / std::max<qsizetype>(1, text.size())), total);
        }
        Tag tag;
        pos = readTag(text, lt, tag);
        const QString &name = tag.name;
        if (name == u"H3") {
            if (!tag.closing) {
                finishDescription();
                capture = Capture::folderName;
                buffer.clear();
            } else if (capture == Capture::folderName) {
                pendingName = decodeEntities(buffer).simplified();
                capture = Capture::none;
            }
        } else if (name == u"DL") {
            finishDescription();
            if (capture == Capture::link)
                finishLink(); // an <A> left open
            if (!tag.closing) {
                QString path = folders.isEmpty() ? QString() : folders.last().path;
                if (!pendingName.isEmpty())
                    path = path.isEmpty() ? pendingName : path + QStringLiteral(" / ") + pendingName;
                folders.append(Folder{path, -1});
                pendingName.clear();
            } else if (!folders.isEmpty()) {
                folders.removeLast();
            }
            lastTab = {-1, -1};
        } else if (name == u"A") {
            if (!tag.closing) {
                finishDescription();
                if (capture == Capture::link)
                    finishLink();
                capture = Capture::link;
                buffer.clear();
                href = tag.attributes.value(QStringLiteral("HREF")).trimmed();
                linkLine = lineAt(lt);
            } else if (capture == Capture::link) {
                finishLink();
            }
        } else if (name == u"DD") {
            finishDescription();
            if (capture == Capture::link)
                finishLink();
            if (lastTab.first >= 0) {
                capture = Capture::description;
                buffer.clear();
            }
        } else if (name == u"DT" || name == u"H1" || name == u"TITLE") {
            finishDescription();
            if (capture == Capture::link)
                finishLink();
        } else if (name == u"BR" && capture == Capture::description) {
            buffer += u'\n';
        }
    }
    finishDescription();
    if (capture == Capture::link)
        finishLink();
    if (progress)
        progress(total, total);
    return result;
}

// --- Our own export ------------------------------------------------------------

ImportResult parseExport(QByteArrayView bytes, const LibraryImport::Progress &progress)
{
    ImportResult result;
    if (progress)
        progress(0, bytes.size());
    // The reading time only fills in dates that the merge does not use.
    const auto decoded = LibraryCodec::decode(bytes.toByteArray(), QDateTime::fromSecsSinceEpoch(0, Qt::UTC));
    if (!decoded) {
        result.problems.append({0, QStringLiteral("keine gültige Pellmora-Datei: ") + decoded.error()});
        return result;
    }
    const LibraryData &data = *decoded;
    const auto imported = [](const SavedTab &tab) {
        return ImportedTab{tab.url, tab.title, tab.note, tab.projectTags, tab.reminderAt, 0};
    };
    QSet<QUuid> placed;
    for (const SavedWindow &window : data.windows) {
        ImportedWindow w{window.title, {}};
        for (const SavedTab &tab : data.tabsIn(window)) {
            if (placed.contains(tab.id))
                continue;
            placed.insert(tab.id);
            w.tabs.append(imported(tab));
        }
        if (!w.tabs.isEmpty())
            result.windows.append(std::move(w));
    }
    ImportedWindow rest;
    for (const SavedTab &tab : data.tabs) {
        if (!placed.contains(tab.id))
            rest.tabs.append(imported(tab));
    }
    if (!rest.tabs.isEmpty())
        result.windows.append(std::move(rest));
    if (progress)
        progress(bytes.size(), bytes.size());
    return result;
}

// Our own window titles ("Fenster 3 · 16.11. 20:31", "Sammlung · …") say when
// a window was saved before; only a name added after them is worth keeping.
QString sourceName(const QString &name)
{
    // One per thread: these functions may run on several threads at once.
    static thread_local const QRegularExpression own(
        QStringLiteral("^(?:Fenster \\d+|Sammlung) · \\d{2}\\.\\d{2}\\. \\d{2}:\\d{2}(?: · (.*))?$"));
    const auto match = own.match(name);
    return match.hasMatch() ? match.captured(1) : name;
}

} // namespace

qint64 ImportResult::tabCount() const
{
    qint64 n = 0;
    for (const ImportedWindow &window : windows)
        n += window.tabs.size();
    return n;
}

namespace LibraryImport {

std::optional<ImportFormat> formatFromName(QStringView name)
{
    if (name == u"onetab")
        return ImportFormat::onetab;
    if (name == u"html")
        return ImportFormat::html;
    if (name == u"json")
        return ImportFormat::json;
    return std::nullopt;
}

ImportFormat guessFormat(QByteArrayView bytes)
{
    const QByteArrayView text = withoutBom(bytes).trimmed();
    if (text.startsWith('{'))
        return ImportFormat::json;
    if (text.startsWith('<'))
        return ImportFormat::html;
    const QByteArray head = text.first(std::min<qsizetype>(text.size(), 4096)).toByteArray().toUpper();
    if (head.contains("<DL") || head.contains("<DT>") || head.contains("<A HREF"))
        return ImportFormat::html;
    return ImportFormat::onetab;
}

ImportResult parse(QByteArrayView bytes, ImportFormat format, const Progress &progress,
                   std::stop_token stop)
{
    const QByteArrayView body = withoutBom(bytes);
    // Progress counts the bytes of the whole file, byte-order mark included.
    const qint64 mark = bytes.size() - body.size();
    Progress whole;
    if (progress && mark > 0)
        whole = [&progress, mark](qint64 done, qint64 total) { progress(done + mark, total + mark); };
    const Progress &report = mark > 0 ? whole : progress;
    switch (format) {
    case ImportFormat::onetab:
        return parseLines(body, report, stop);
    case ImportFormat::html:
        return parseBookmarks(body, report, stop);
    case ImportFormat::json:
        return parseExport(body, report);
    }
    Q_UNREACHABLE();
    return {};
}

MergedImport merge(LibraryData library, const ImportResult &import, const QDateTime &now)
{
    MergedImport merged;
    QSet<QString> known;
    known.reserve(library.tabs.size() + import.tabCount());
    for (const SavedTab &tab : library.tabs)
        known.insert(tab.url);
    const qint64 windowsBefore = library.windows.size();
    library.tabs.reserve(library.tabs.size() + import.tabCount());

    for (qsizetype p = 0; p < import.windows.size(); ++p) {
        const ImportedWindow &source = import.windows[p];
        // Numbered like a sleep run: every group counts, even one that adds nothing.
        SavedWindow window{QUuid::createUuid(), now, SavedWindow::makeTitle(windowsBefore + p + 1, now), {}};
        const QString name = sourceName(source.name);
        if (!name.isEmpty())
            window.title += QStringLiteral(" · ") + name;
        for (qsizetype i = 0; i < source.tabs.size(); ++i) {
            const ImportedTab &in = source.tabs[i];
            if (known.contains(in.url)) {
                ++merged.skipped;
                continue;
            }
            known.insert(in.url);
            SavedTab tab;
            tab.id = QUuid::createUuid();
            tab.url = in.url;
            tab.title = in.title;
            tab.domain = SavedTab::domainOf(in.url);
            tab.savedAt = now;
            tab.windowId = window.id;
            tab.windowIndex = p + 1;
            tab.tabIndex = i + 1;
            tab.note = in.note;
            tab.projectTags = in.projectTags;
            tab.reminderAt = in.reminderAt;
            window.tabIds.append(tab.id);
            merged.newTabIds.append(tab.id);
            library.tabs.append(std::move(tab));
        }
        if (!window.tabIds.isEmpty()) {
            library.windows.append(std::move(window));
            ++merged.newWindows;
        }
    }
    merged.library = std::move(library);
    return merged;
}

} // namespace LibraryImport
