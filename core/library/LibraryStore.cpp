#include "LibraryStore.h"

#include "Clock.h"
#include "LibraryBackups.h"
#include "LibraryCodec.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

LibraryStore::LibraryStore(QString filePath)
    : m_filePath(std::move(filePath))
{
}

QString LibraryStore::defaultPath()
{
    // GenericDataLocation honours XDG_DATA_HOME and lists it first.
    QString base = QStandardPaths::standardLocations(QStandardPaths::GenericDataLocation).value(0);
    if (base.isEmpty())
        base = QDir::homePath() + QStringLiteral("/.local/share");
    return base + QStringLiteral("/Pellmora/library.json");
}

LibraryStore LibraryStore::standard()
{
    return LibraryStore(defaultPath());
}

std::optional<QDateTime> LibraryStore::modificationDate() const
{
    const QFileInfo info(m_filePath);
    if (!info.exists())
        return std::nullopt;
    const QDateTime modified = info.lastModified().toUTC();
    if (!modified.isValid())
        return std::nullopt;
    return modified;
}

LibraryData LibraryStore::load() const
{
    QFile file(m_filePath);
    if (!file.open(QIODevice::ReadOnly))
        return LibraryData{};
    const QByteArray bytes = file.readAll();
    file.close();
    const QDateTime now = Clock::system().now();
    auto decoded = LibraryCodec::decode(bytes, now);
    if (decoded)
        return std::move(decoded).value();

    // Keep the unreadable file for the user; it is replaced by the next write.
    const QFileInfo info(m_filePath);
    const QString copy = info.dir().filePath(QStringLiteral("%1.defekt-%2.json")
                                                 .arg(info.completeBaseName())
                                                 .arg(now.toSecsSinceEpoch()));
    QFile::copy(m_filePath, copy);
    return LibraryData{};
}

Status LibraryStore::save(const LibraryData &data) const
{
    const auto fail = [](const QString &reason) {
        return Status::failure(QStringLiteral("Speichern fehlgeschlagen: ") + reason);
    };
    const QFileInfo info(m_filePath);
    if (!QDir().mkpath(info.absolutePath()))
        return fail(QStringLiteral("Der Ordner %1 kann nicht angelegt werden.")
                        .arg(info.absolutePath()));
    const auto bytes = LibraryCodec::encode(data);
    if (!bytes)
        return fail(bytes.error());
    // A failed backup must not stop the user's change from being saved.
    LibraryBackups(m_filePath).backUpBeforeWrite();
    QSaveFile file(m_filePath);
    if (!file.open(QIODevice::WriteOnly))
        return fail(file.errorString());
    if (file.write(*bytes) != bytes->size()) {
        const QString reason = file.errorString();
        file.cancelWriting();
        return fail(reason);
    }
    if (!file.commit())
        return fail(file.errorString());
    return Done{};
}
