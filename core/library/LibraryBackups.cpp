#include "LibraryBackups.h"

#include "AtomicFile.h"
#include "Fmt.h"
#include "LibraryCodec.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <algorithm>

namespace {

// "2026-11-16" or "2026-11-16-203100"
const QRegularExpression &keyPattern()
{
    // One per thread: these functions may run on several threads at once.
    static thread_local const QRegularExpression pattern(
        QStringLiteral("^(\\d{4}-\\d{2}-\\d{2})(?:-\\d{6})?$"));
    return pattern;
}

std::optional<QByteArray> readAll(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    return file.readAll();
}

Status writeAtomically(const QString &path, const QByteArray &bytes)
{
    if (!QDir().mkpath(QFileInfo(path).absolutePath()))
        return Status::failure(QStringLiteral("Der Ordner %1 kann nicht angelegt werden.")
                                   .arg(QFileInfo(path).absolutePath()));
    AtomicFile file(path);
    if (!file.open())
        return Status::failure(file.errorString());
    if (file.write(bytes) != bytes.size()) {
        const QString reason = file.errorString();
        file.cancelWriting();
        return Status::failure(reason);
    }
    if (!file.commit())
        return Status::failure(file.errorString());
    return Done{};
}

} // namespace

LibraryBackups::LibraryBackups(QString libraryPath, const Clock &clock)
    : m_libraryPath(std::move(libraryPath))
    , m_clock(clock)
{
}

QString LibraryBackups::folder() const
{
    return QFileInfo(m_libraryPath).dir().filePath(QStringLiteral("backups"));
}

QString LibraryBackups::pathFor(const QString &key) const
{
    return QDir(folder()).filePath(QFileInfo(m_libraryPath).completeBaseName() + u'-' + key
                                   + QStringLiteral(".json"));
}

Status LibraryBackups::backUpBeforeWrite() const
{
    if (!QFileInfo::exists(m_libraryPath))
        return Done{};
    const QString today = Fmt::dayKey(m_clock.now());
    if (QFileInfo::exists(pathFor(today)))
        return Done{};
    const Status copied = copyCurrent(today);
    if (copied)
        rotate();
    return copied;
}

Status LibraryBackups::copyCurrent(const QString &key) const
{
    const auto bytes = readAll(m_libraryPath);
    if (!bytes)
        return Status::failure(QStringLiteral("Die Bibliothek kann nicht gelesen werden."));
    // A corrupt file would push a good copy out of the rotation.
    if (!LibraryCodec::decode(*bytes, m_clock.now()))
        return Status::failure(QStringLiteral("Die Bibliothek ist beschädigt und wird nicht gesichert."));
    return writeAtomically(pathFor(key), *bytes);
}

QList<LibraryBackup> LibraryBackups::list() const
{
    const QString prefix = QFileInfo(m_libraryPath).completeBaseName() + u'-';
    const QDir dir(folder());
    QList<LibraryBackup> backups;
    const QStringList names = dir.entryList({prefix + QStringLiteral("*.json")}, QDir::Files);
    for (const QString &name : names) {
        const QString key = name.mid(prefix.size(), name.size() - prefix.size() - 5);
        const auto match = keyPattern().match(key);
        if (!match.hasMatch())
            continue;
        LibraryBackup backup;
        backup.path = dir.filePath(name);
        backup.key = key;
        backup.day = QDate::fromString(match.captured(1), Qt::ISODate);
        const auto bytes = readAll(backup.path);
        backup.size = bytes ? bytes->size() : 0;
        if (bytes) {
            const auto decoded = LibraryCodec::decode(*bytes, m_clock.now());
            if (decoded)
                backup.tabCount = decoded->tabs.size();
        }
        backups.append(backup);
    }
    // Keys sort by day; on one day a restore copy (with time) follows the daily one.
    std::sort(backups.begin(), backups.end(),
              [](const LibraryBackup &a, const LibraryBackup &b) { return a.key > b.key; });
    return backups;
}

QStringList LibraryBackups::keys() const
{
    const QString prefix = QFileInfo(m_libraryPath).completeBaseName() + u'-';
    QStringList keys;
    const QStringList names = QDir(folder()).entryList({prefix + QStringLiteral("*.json")}, QDir::Files);
    for (const QString &name : names) {
        const QString key = name.mid(prefix.size(), name.size() - prefix.size() - 5);
        if (keyPattern().match(key).hasMatch())
            keys.append(key);
    }
    // Keys sort by day; on one day a copy with the time follows the daily one.
    std::sort(keys.begin(), keys.end(), std::greater<>());
    return keys;
}

void LibraryBackups::rotate() const
{
    const QStringList all = keys();
    for (qsizetype i = kept; i < all.size(); ++i)
        QFile::remove(pathFor(all.at(i)));
}

Status LibraryBackups::backUpBeforeReplace() const
{
    const auto current = readAll(m_libraryPath);
    if (!current)
        return Done{};
    const QDateTime now = m_clock.now();
    if (!LibraryCodec::decode(*current, now))
        return Status::failure(QStringLiteral("Die Bibliothek ist beschädigt und wird nicht gesichert."));
    // Switching back and forth between two libraries must not push the
    // older days out of the rotation.
    const QStringList existing = keys();
    if (!existing.isEmpty() && readAll(pathFor(existing.first())) == current)
        return Done{};
    // Today's daily copy stays as it is; a further copy that day carries the time.
    QString key = Fmt::dayKey(now);
    for (QDateTime at = now; QFileInfo::exists(pathFor(key)); at = at.addSecs(1))
        key = Fmt::dayKey(at) + u'-' + at.toLocalTime().toString(QStringLiteral("HHmmss"));
    const Status saved = writeAtomically(pathFor(key), *current);
    if (saved)
        rotate();
    return saved;
}

Status LibraryBackups::restore(const QString &key) const
{
    if (!keyPattern().match(key).hasMatch())
        return Status::failure(QStringLiteral("Ungültiges Datum: %1 (erwartet JJJJ-MM-TT)").arg(key));
    const auto bytes = readAll(pathFor(key));
    if (!bytes)
        return Status::failure(QStringLiteral("Keine Sicherung vom %1.").arg(key));
    const QDateTime now = m_clock.now();
    if (!LibraryCodec::decode(*bytes, now))
        return Status::failure(QStringLiteral("Die Sicherung vom %1 ist beschädigt.").arg(key));

    if (const auto current = readAll(m_libraryPath)) {
        if (LibraryCodec::decode(*current, now)) {
            const Status saved = backUpBeforeReplace();
            if (!saved)
                return Status::failure(QStringLiteral("Die aktuelle Bibliothek kann nicht gesichert werden: ")
                                       + saved.error());
        } else {
            // Not worth a place in the rotation, but still the user's data.
            const QFileInfo info(m_libraryPath);
            QFile::copy(m_libraryPath, info.dir().filePath(QStringLiteral("%1.defekt-%2.json")
                                                               .arg(info.completeBaseName())
                                                               .arg(now.toSecsSinceEpoch())));
        }
    }
    const Status written = writeAtomically(m_libraryPath, *bytes);
    if (!written)
        return Status::failure(QStringLiteral("Wiederherstellen fehlgeschlagen: ") + written.error());
    rotate();
    return Done{};
}

QString LibraryBackups::keptPath() const
{
    const QFileInfo info(m_libraryPath);
    return info.dir().filePath(info.completeBaseName() + QStringLiteral(".eigene.json"));
}

bool LibraryBackups::hasKept() const
{
    return QFileInfo::exists(keptPath());
}

Status LibraryBackups::keepAside() const
{
    const auto bytes = readAll(m_libraryPath);
    if (!bytes)
        return QFileInfo::exists(m_libraryPath)
            ? Status::failure(QStringLiteral("Die Bibliothek kann nicht gelesen werden."))
            : Status(Done{});
    const Status written = writeAtomically(keptPath(), *bytes);
    if (!written)
        return Status::failure(QStringLiteral("Die eigene Bibliothek kann nicht beiseitegelegt werden: ")
                               + written.error());
    return Done{};
}

Status LibraryBackups::bringBackKept() const
{
    const auto bytes = readAll(keptPath());
    if (!bytes)
        return Status::failure(QStringLiteral("Die eigene Bibliothek (%1) kann nicht gelesen werden.")
                                   .arg(keptPath()));
    // A failed copy of the demo library is no reason to keep the user's away.
    backUpBeforeReplace();
    const Status written = writeAtomically(m_libraryPath, *bytes);
    if (!written)
        return Status::failure(QStringLiteral("Die eigene Bibliothek kann nicht zurückgeholt werden: ")
                               + written.error());
    QFile::remove(keptPath());
    return Done{};
}
