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
    // Plain code-point order of the normalised names, no locale rules.
    std::sort(entries.begin(), entries.end(), [](const QFileInfo &a, const QFileInfo &b) {
        return a.fileName().normalized(QString::NormalizationForm_C)
               < b.fileName().normalized(QString::NormalizationForm_C);
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
    // fromUtf8 replaces every invalid or cut sequence with U+FFFD.
    QString text = QString::fromUtf8(bytes);
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
