#include "AtomicFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const QString kPrefix = QStringLiteral(".pellmora-tmp-");
constexpr int kRandomLength = 6;
constexpr int kAttempts = 100;

QString randomSuffix()
{
    static const char alphabet[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    QString suffix;
    for (int i = 0; i < kRandomLength; ++i)
        suffix += QLatin1Char(alphabet[QRandomGenerator::global()->bounded(int(sizeof alphabet) - 1)]);
    return suffix;
}

} // namespace

AtomicFile::AtomicFile(QString path)
    : m_path(std::move(path))
{
}

AtomicFile::~AtomicFile()
{
    cancelWriting();
}

bool AtomicFile::isTemporaryName(const QString &fileName, const QString &targetFileName)
{
    const QString start = kPrefix + targetFileName + u'-';
    if (!fileName.startsWith(start) || fileName.size() != start.size() + kRandomLength)
        return false;
    for (const QChar c : QStringView(fileName).mid(start.size())) {
        if (!(c.isDigit() || (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z')))
            return false;
    }
    return true;
}

QString AtomicFile::describeError(int errorNumber)
{
    switch (errorNumber) {
    case EACCES:
    case EPERM:
        return QStringLiteral("Keine Berechtigung zum Schreiben.");
    case ENOSPC:
#ifdef EDQUOT
    case EDQUOT:
#endif
        return QStringLiteral("Auf dem Datenträger ist kein Platz mehr frei.");
    case EROFS:
        return QStringLiteral("Der Datenträger ist schreibgeschützt.");
    case ENOENT:
    case ENOTDIR:
        return QStringLiteral("Der Ordner existiert nicht.");
    case EISDIR:
        return QStringLiteral("An dieser Stelle liegt ein Ordner statt einer Datei.");
    case ENAMETOOLONG:
        return QStringLiteral("Der Dateiname ist zu lang.");
    case EIO:
        return QStringLiteral("Der Datenträger meldet einen Ein-/Ausgabefehler.");
    case EMFILE:
    case ENFILE:
        return QStringLiteral("Es sind zu viele Dateien geöffnet.");
    case EBUSY:
    case ETXTBSY:
        return QStringLiteral("Die Datei wird gerade benutzt.");
    default:
        return QStringLiteral("Die Datei kann nicht geschrieben werden (Systemfehler %1).").arg(errorNumber);
    }
}

bool AtomicFile::fail(int errorNumber)
{
    m_failed = true;
    m_error = describeError(errorNumber);
    return false;
}

bool AtomicFile::open()
{
    const QFileInfo target(m_path);
    // An existing file keeps its permissions; a new one gets the usual ones.
    mode_t mode = 0644;
    struct stat existing;
    if (::stat(QFile::encodeName(m_path).constData(), &existing) == 0)
        mode = existing.st_mode & 07777;
    m_failed = false;
#ifdef O_TMPFILE
    // A file without a name first: a writer that dies before the commit
    // leaves nothing behind. It gets its temporary name only for the moment
    // between linking and renaming.
    m_fd = ::open(QFile::encodeName(target.absolutePath()).constData(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600);
    if (m_fd >= 0) {
        // Set after creation: the umask must not narrow a kept mode.
        ::fchmod(m_fd, mode);
        return true;
    }
    // File systems without unnamed files say so in several ways.
    if (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL)
        return fail(errno);
#endif
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        const QString candidate = temporaryCandidate();
        const int fd = ::open(QFile::encodeName(candidate).constData(),
                              O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (fd >= 0) {
            m_fd = fd;
            m_temporary = candidate;
            ::fchmod(fd, mode);
            return true;
        }
        if (errno != EEXIST)
            return fail(errno);
    }
    return fail(EEXIST);
}

QString AtomicFile::temporaryCandidate() const
{
    const QFileInfo target(m_path);
    return target.absoluteDir().filePath(kPrefix + target.fileName() + u'-' + randomSuffix());
}

bool AtomicFile::nameUnnamed()
{
    const QByteArray self = "/proc/self/fd/" + QByteArray::number(m_fd);
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        const QByteArray candidate = QFile::encodeName(temporaryCandidate());
        // Through /proc for everyone; straight from the descriptor where the
        // system allows it (without /proc).
        if (::linkat(AT_FDCWD, self.constData(), AT_FDCWD, candidate.constData(), AT_SYMLINK_FOLLOW) == 0
            || (errno == ENOENT && ::linkat(m_fd, "", AT_FDCWD, candidate.constData(), AT_EMPTY_PATH) == 0)) {
            m_temporary = QFile::decodeName(candidate);
            return true;
        }
        if (errno != EEXIST)
            return fail(errno);
    }
    return fail(EEXIST);
}

qint64 AtomicFile::write(const QByteArray &bytes)
{
    return write(bytes.constData(), bytes.size());
}

qint64 AtomicFile::write(const char *data, qint64 size)
{
    if (m_fd < 0 || m_failed)
        return -1;
    qint64 done = 0;
    while (done < size) {
        const ssize_t n = ::write(m_fd, data + done, size_t(size - done));
        if (n < 0) {
            if (errno == EINTR)
                continue;
            fail(errno);
            return -1;
        }
        done += n;
    }
    return done;
}

bool AtomicFile::commit()
{
    if (m_fd < 0 || m_failed) {
        cancelWriting();
        return false;
    }
    const bool synced = ::fsync(m_fd) == 0;
    const int syncError = errno;
    if (synced && m_temporary.isEmpty() && !nameUnnamed()) {
        cancelWriting();
        return false;
    }
    const bool closed = ::close(m_fd) == 0;
    const int closeError = errno;
    m_fd = -1;
    if (!synced || !closed) {
        fail(synced ? closeError : syncError);
        cancelWriting();
        return false;
    }
    if (::rename(QFile::encodeName(m_temporary).constData(), QFile::encodeName(m_path).constData()) != 0) {
        fail(errno);
        cancelWriting();
        return false;
    }
    m_temporary.clear();
    return true;
}

void AtomicFile::cancelWriting()
{
    if (m_fd >= 0) {
        ::close(m_fd);
        m_fd = -1;
    }
    if (!m_temporary.isEmpty()) {
        ::unlink(QFile::encodeName(m_temporary).constData());
        m_temporary.clear();
    }
}
