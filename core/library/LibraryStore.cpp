#include "LibraryStore.h"

#include "AtomicFile.h"
#include "Clock.h"
#include "HeapReserve.h"
#include "LibraryBackups.h"
#include "LibraryCodec.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#ifdef Q_OS_UNIX
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <unistd.h>
#endif

namespace {

// Every save holds a shared lock on the library's folder while it writes, so
// a temporary file found while nobody else holds that lock was left by a
// writer that died between writing and renaming (killed, power cut). Locks
// die with their process: a crash leaves none behind.
class FolderLock
{
public:
    explicit FolderLock([[maybe_unused]] const QString &folder)
    {
#ifdef Q_OS_UNIX
        m_fd = ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (m_fd >= 0)
            ::flock(m_fd, LOCK_SH);
#endif
    }
    ~FolderLock()
    {
#ifdef Q_OS_UNIX
        if (m_fd >= 0)
            ::close(m_fd);
#endif
    }
    FolderLock(const FolderLock &) = delete;
    FolderLock &operator=(const FolderLock &) = delete;

    // Gives up this writer's share and takes the folder alone if no other
    // writer is at work; false when one is.
    bool takeAlone()
    {
#ifdef Q_OS_UNIX
        return m_fd >= 0 && ::flock(m_fd, LOCK_UN) == 0 && ::flock(m_fd, LOCK_EX | LOCK_NB) == 0;
#else
        return false;
#endif
    }

private:
    int m_fd = -1;
};

// Removes the temporary files that writers of this library left when they
// died; only called while no other writer is at work. Only names made by
// AtomicFile qualify: the user's own files beside the library stay.
void removeDeadTemporaries(const QString &filePath)
{
    const QFileInfo info(filePath);
    const QDir folder = info.absoluteDir();
    const QStringList names = folder.entryList(QDir::Files | QDir::Hidden | QDir::System);
    for (const QString &name : names) {
        if (AtomicFile::isTemporaryName(name, info.fileName()))
            QFile::remove(folder.filePath(name));
    }
}

} // namespace

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
    // Decoded straight from the page cache: a copy would first have to touch
    // as many fresh pages as the file has, which costs more than the reading.
    const qint64 size = file.size();
    uchar *pages = size > 0 ? file.map(0, size) : nullptr;
#ifdef Q_OS_LINUX
    if (pages)
        ::madvise(pages, size_t(size), MADV_WILLNEED);
#endif
    const QByteArray bytes = pages ? QByteArray() : file.readAll();
    const QDateTime now = Clock::system().now();
    // The decoded library takes about as much memory as the file.
    const HeapReserve reserve(size + size / 2);
    auto decoded = pages ? LibraryCodec::decodeMapped(reinterpret_cast<const char *>(pages), qsizetype(size), now)
                         : LibraryCodec::decode(bytes, now);
    file.close(); // also unmaps
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
    const auto fail = [](const QString &reason) { return Status::failure(reason); };
    const QFileInfo info(m_filePath);
    if (!QDir().mkpath(info.absolutePath()))
        return fail(QStringLiteral("Der Ordner %1 kann nicht angelegt werden.")
                        .arg(info.absolutePath()));
    // A failed backup must not stop the user's change from being saved.
    LibraryBackups(m_filePath).backUpBeforeWrite();
    FolderLock lock(info.absolutePath());
    AtomicFile file(m_filePath);
    if (!file.open())
        return fail(file.errorString());
    // Written as it is encoded: the bytes are never in memory whole.
    bool writeFailed = false;
    const Status written = LibraryCodec::encodeTo(data, [&](const char *bytes, qsizetype size) {
        writeFailed = file.write(bytes, size) != size;
        return !writeFailed;
    });
    if (!written) {
        // The file's own reason says more than the encoder's.
        const QString reason = writeFailed ? file.errorString() : written.error();
        file.cancelWriting();
        return fail(reason);
    }
    if (!file.commit())
        return fail(file.errorString());
    if (lock.takeAlone())
        removeDeadTemporaries(m_filePath);
    return Done{};
}
