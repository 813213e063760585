#include "LibraryExport.h"

#include "LibraryCodec.h"

#include <QSet>

namespace {

struct Group
{
    QString name;
    QList<SavedTab> tabs;
};

const Topic *findTopic(const LibraryData &library, const QString &name)
{
    for (const Topic &topic : library.topics) {
        if (topic.name == name)
            return &topic;
    }
    return nullptr;
}

// Windows in library order, each tab once; tabs no window lists come last.
QList<Group> groupsOf(const LibraryData &library, const Topic *topic)
{
    if (topic)
        return {Group{topic->name, library.tabsIn(*topic)}};
    QList<Group> groups;
    QSet<QUuid> placed;
    for (const SavedWindow &window : library.windows) {
        Group group{window.title, {}};
        for (const SavedTab &tab : library.tabsIn(window)) {
            if (!placed.contains(tab.id)) {
                placed.insert(tab.id);
                group.tabs.append(tab);
            }
        }
        if (!group.tabs.isEmpty())
            groups.append(std::move(group));
    }
    Group rest{QStringLiteral("Ohne Fenster"), {}};
    for (const SavedTab &tab : library.tabs) {
        if (!placed.contains(tab.id))
            rest.tabs.append(tab);
    }
    if (!rest.tabs.isEmpty())
        groups.append(std::move(rest));
    return groups;
}

// The tabs, windows and topics; vectors, hints and the user's project
// context are not the business of an export.
LibraryData exportedLibrary(const LibraryData &library, const Topic *topic)
{
    LibraryData out;
    out.version = library.version;
    out.topicsByAI = library.topicsByAI;
    if (!topic) {
        out.tabs = library.tabs;
        out.windows = library.windows;
        out.topics = library.topics;
        return out;
    }
    out.tabs = library.tabsIn(*topic);
    QSet<QUuid> ids;
    for (const SavedTab &tab : out.tabs)
        ids.insert(tab.id);
    const auto kept = [&](const QList<QUuid> &list) {
        QList<QUuid> result;
        for (const QUuid &id : list) {
            if (ids.contains(id))
                result.append(id);
        }
        return result;
    };
    for (SavedWindow window : library.windows) {
        window.tabIds = kept(window.tabIds);
        if (!window.tabIds.isEmpty())
            out.windows.append(std::move(window));
    }
    Topic only = *topic;
    only.tabIds = kept(only.tabIds);
    out.topics = {only};
    return out;
}

QString escapeHtml(const QString &text)
{
    QString out = text.toHtmlEscaped();
    out.replace(u'\n', QLatin1String("&#10;"));
    out.replace(u'\r', QLatin1String("&#13;"));
    return out;
}

QByteArray writeHtml(const QList<Group> &groups)
{
    QString out = QStringLiteral("<!DOCTYPE NETSCAPE-Bookmark-file-1>\n"
                                 "<META HTTP-EQUIV=\"Content-Type\" CONTENT=\"text/html; charset=UTF-8\">\n"
                                 "<TITLE>Pellmora</TITLE>\n"
                                 "<H1>Pellmora</H1>\n"
                                 "<DL><p>\n");
    for (const Group &group : groups) {
        const qint64 folderDate = group.tabs.isEmpty() ? 0 : group.tabs.first().savedAt.toSecsSinceEpoch();
        out += QStringLiteral("    <DT><H3 ADD_DATE=\"%1\">%2</H3>\n    <DL><p>\n")
                   .arg(folderDate)
                   .arg(escapeHtml(group.name));
        for (const SavedTab &tab : group.tabs) {
            out += QStringLiteral("        <DT><A HREF=\"%1\" ADD_DATE=\"%2\">%3</A>\n")
                       .arg(escapeHtml(tab.url))
                       .arg(tab.savedAt.toSecsSinceEpoch())
                       .arg(escapeHtml(tab.title));
            if (!tab.note.isEmpty()) {
                // Line breaks as <BR> keep a note's lines apart where browsers show them.
                QString note = tab.note.toHtmlEscaped();
                note.replace(QLatin1String("\r\n"), QLatin1String("\n"));
                note.replace(u'\n', QLatin1String("<BR>"));
                out += QStringLiteral("        <DD>") + note + u'\n';
            }
        }
        out += QStringLiteral("    </DL><p>\n");
    }
    out += QStringLiteral("</DL><p>\n");
    return out.toUtf8();
}

QString oneLine(QString text)
{
    text.replace(QLatin1String("\r\n"), QLatin1String(" "));
    text.replace(u'\n', u' ');
    text.replace(u'\r', u' ');
    return text;
}

QByteArray writeLines(const QList<Group> &groups)
{
    QString out;
    for (qsizetype g = 0; g < groups.size(); ++g) {
        if (g > 0)
            out += u'\n';
        for (const SavedTab &tab : groups[g].tabs)
            out += tab.url + QStringLiteral(" | ") + oneLine(tab.title) + u'\n';
    }
    return out.toUtf8();
}

QString markdownText(const QString &text)
{
    QString out;
    out.reserve(text.size());
    for (const QChar c : oneLine(text)) {
        if (c == u'\\' || c == u'[' || c == u']' || c == u'*' || c == u'_' || c == u'`' || c == u'<')
            out += u'\\';
        out += c;
    }
    return out;
}

QByteArray writeMarkdown(const QList<Group> &groups)
{
    QString out = QStringLiteral("# Pellmora\n");
    for (const Group &group : groups) {
        out += QStringLiteral("\n## ") + markdownText(group.name) + QStringLiteral("\n\n");
        for (const SavedTab &tab : group.tabs) {
            const QString label = tab.title.trimmed().isEmpty() ? tab.url : tab.title;
            const bool plain = !tab.url.contains(u'(') && !tab.url.contains(u')') && !tab.url.contains(u' ')
                               && !tab.url.contains(u'<') && !tab.url.contains(u'>');
            out += QStringLiteral("- [") + markdownText(label) + QStringLiteral("](")
                   + (plain ? tab.url : u'<' + tab.url + u'>') + QStringLiteral(")\n");
            if (!tab.note.isEmpty()) {
                // Indented lines continue the list item.
                const QStringList lines = QString(tab.note).replace(QLatin1String("\r\n"), QLatin1String("\n")).split(u'\n');
                for (const QString &line : lines)
                    out += line.isEmpty() ? QStringLiteral("\n") : QStringLiteral("  ") + line + u'\n';
            }
        }
    }
    return out.toUtf8();
}

} // namespace

namespace LibraryExport {

std::optional<ExportFormat> formatFromName(QStringView name)
{
    if (name == u"json")
        return ExportFormat::json;
    if (name == u"html")
        return ExportFormat::html;
    if (name == u"onetab")
        return ExportFormat::onetab;
    if (name == u"markdown")
        return ExportFormat::markdown;
    return std::nullopt;
}

Result<QByteArray> write(const LibraryData &library, ExportFormat format, const std::optional<QString> &topic)
{
    const Topic *only = nullptr;
    if (topic) {
        only = findTopic(library, *topic);
        if (!only)
            return Result<QByteArray>::failure(QStringLiteral("Kein Thema heisst «%1».").arg(*topic));
    }
    switch (format) {
    case ExportFormat::json:
        return LibraryCodec::encode(exportedLibrary(library, only));
    case ExportFormat::html:
        return writeHtml(groupsOf(library, only));
    case ExportFormat::onetab:
        return writeLines(groupsOf(library, only));
    case ExportFormat::markdown:
        return writeMarkdown(groupsOf(library, only));
    }
    Q_UNREACHABLE();
    return QByteArray();
}

} // namespace LibraryExport
