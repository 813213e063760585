#include "ContextReader.h"

#include "TextCut.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>

#include <algorithm>

namespace ContextReader {

const QSet<QString> &allowedNames()
{
    static const QSet<QString> names{QStringLiteral("CLAUDE.md"), QStringLiteral("TODO.yaml"),
                                     QStringLiteral("README.md")};
    return names;
}

static QString expandTilde(const QString &path)
{
    if (path == QLatin1String("~"))
        return QDir::homePath();
    if (path.startsWith(QLatin1String("~/")))
        return QDir::homePath() + path.mid(1);
    return path;
}

// UTF-8 to text, one U+FFFD for each invalid sequence: a lead byte with as
// many fitting continuation bytes as follow it (a sequence cut short counts
// once), or a single byte that begins nothing.
QString decodeRepairing(const QByteArray &bytes)
{
    QString text;
    text.reserve(bytes.size());
    const auto *p = reinterpret_cast<const unsigned char *>(bytes.constData());
    const qsizetype n = bytes.size();
    qsizetype i = 0;
    while (i < n) {
        const unsigned char lead = p[i];
        if (lead < 0x80) {
            text.append(QChar(lead));
            ++i;
            continue;
        }
        int length = 0;
        unsigned char low = 0x80;
        unsigned char high = 0xBF;
        char32_t code = 0;
        if (lead >= 0xC2 && lead <= 0xDF) {
            length = 2;
            code = lead & 0x1F;
        } else if (lead >= 0xE0 && lead <= 0xEF) {
            length = 3;
            code = lead & 0x0F;
            low = lead == 0xE0 ? 0xA0 : 0x80;
            high = lead == 0xED ? 0x9F : 0xBF;
        } else if (lead >= 0xF0 && lead <= 0xF4) {
            length = 4;
            code = lead & 0x07;
            low = lead == 0xF0 ? 0x90 : 0x80;
            high = lead == 0xF4 ? 0x8F : 0xBF;
        }
        qsizetype taken = 1;
        while (length > 0 && taken < length && i + taken < n) {
            const unsigned char next = p[i + taken];
            if (next < low || next > high)
                break;
            code = (code << 6) | (next & 0x3F);
            low = 0x80;
            high = 0xBF;
            ++taken;
        }
        if (length > 0 && taken == length) {
            text.append(QStringView(QChar::fromUcs4(code)));
        } else {
            text.append(QChar(QChar::ReplacementCharacter));
        }
        i += taken;
    }
    return text;
}

QStringList filesIn(const QString &folder, int depth)
{
    if (depth > maxDepth)
        return {};
    QDir dir(folder);
    if (!QFileInfo(folder).isDir() || !dir.isReadable())
        return {};
    // No hidden entries; symbolic links are reported as what they are, not followed.
    QFileInfoList entries = dir.entryInfoList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::System);
    entries.erase(std::remove_if(entries.begin(), entries.end(),
                                 [](const QFileInfo &fi) { return fi.fileName().startsWith(u'.'); }),
                  entries.end());
    // Plain code-point order of the normalised names, no locale rules
    // (QString's own order compares UTF-16 units, which differs beyond the
    // basic plane).
    std::sort(entries.begin(), entries.end(), [](const QFileInfo &a, const QFileInfo &b) {
        return a.fileName().normalized(QString::NormalizationForm_C).toUcs4()
               < b.fileName().normalized(QString::NormalizationForm_C).toUcs4();
    });
    QStringList result;
    for (const QFileInfo &fi : std::as_const(entries)) {
        const bool isDir = fi.isDir() && !fi.isSymLink();
        if (isDir) {
            if (depth != maxDepth)
                result += filesIn(fi.absoluteFilePath(), depth + 1);
        } else if (allowedNames().contains(fi.fileName())) {
            result.append(fi.absoluteFilePath());
        }
    }
    return result;
}

std::optional<QString> readLimited(const QString &file)
{
    QFile f(file);
    if (!f.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QByteArray bytes = f.read(maxBytes);
    if (bytes.isEmpty())
        return std::nullopt;
    QString text = decodeRepairing(bytes);
    if (text.size() > maxChars)
        text = TextCut::prefix(text, maxChars);
    return text;
}

QList<ProjectText> projectsFor(const UserContext &context)
{
    struct Entry
    {
        QString name;
        QStringList texts;
    };
    QHash<QString, Entry> byPath;
    QStringList order;
    for (const QString &raw : context.folderPaths) {
        const QString folder = expandTilde(raw);
        const QStringList found = filesIn(folder, 0);
        for (const QString &file : found) {
            std::optional<QString> text = readLimited(file);
            if (!text)
                continue;
            const QFileInfo parent(QFileInfo(file).absolutePath());
            const QString key = QDir::cleanPath(parent.absoluteFilePath());
            auto it = byPath.find(key);
            if (it == byPath.end()) {
                it = byPath.insert(key, Entry{parent.fileName(), {}});
                order.append(key);
            }
            it->texts.append(*text);
        }
    }
    QList<ProjectText> projects;
    projects.reserve(order.size() + 1);
    for (const QString &key : std::as_const(order)) {
        const Entry &e = byPath[key];
        projects.append(ProjectText{e.name, key, e.texts.join(QStringLiteral("\n\n"))});
    }
    const QString free = context.freeText.trimmed();
    if (!free.isEmpty())
        projects.append(ProjectText{QStringLiteral("Eigener Text"), QString(), free});
    return projects;
}

qsizetype projectCountIn(const QString &folderPath)
{
    UserContext context;
    context.folderPaths = {folderPath};
    return projectsFor(context).size();
}

} // namespace ContextReader
