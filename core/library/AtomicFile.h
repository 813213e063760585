#pragma once

#include <QByteArray>
#include <QString>

// Writes a file whole or not at all: the bytes go to a temporary file in the
// same folder, which is synced and then renamed over the target, so a reader
// sees the old file or the new one, never a mix. The temporary file carries
// a prefix of our own, so that no file a person keeps beside the target
// (such as "library.json.backup") is ever taken for one. Failures are told
// in German.
class AtomicFile
{
public:
    explicit AtomicFile(QString path);
    ~AtomicFile();
    AtomicFile(const AtomicFile &) = delete;
    AtomicFile &operator=(const AtomicFile &) = delete;

    bool open();
    // Like QIODevice::write: the number of bytes written, -1 on failure.
    qint64 write(const QByteArray &bytes);
    qint64 write(const char *data, qint64 size);
    bool commit();
    // Removes the temporary file; the target stays as it was.
    void cancelWriting();
    // German text of the last failure.
    const QString &errorString() const { return m_error; }

    // Whether `fileName` (a name in the target's folder) is a temporary file
    // of a writer of `targetFileName`.
    static bool isTemporaryName(const QString &fileName, const QString &targetFileName);
    // A short German sentence for a system error number.
    static QString describeError(int errorNumber);

private:
    bool fail(int errorNumber);
    QString temporaryCandidate() const;
    // Gives the unnamed file its temporary name, ready to be renamed.
    bool nameUnnamed();

    QString m_path;
    QString m_temporary;
    int m_fd = -1;
    bool m_failed = false;
    QString m_error;
};
