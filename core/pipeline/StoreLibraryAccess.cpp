#include "StoreLibraryAccess.h"

#include "Library.h"

#include <QFileInfo>
#include <QMutexLocker>

StoreLibraryAccess::StoreLibraryAccess(LibraryStore store)
    : m_store(std::move(store))
{
}

QString StoreLibraryAccess::lastError() const
{
    QMutexLocker lock(&m_mutex);
    return m_lastError;
}

LibraryData StoreLibraryAccess::current()
{
    return m_store.load();
}

Status StoreLibraryAccess::write(const LibraryData &data)
{
    const Status saved = m_store.save(data);
    QMutexLocker lock(&m_mutex);
    m_lastError = saved ? QString() : Library::saveFailedMessage(saved.error());
    if (!saved)
        return Status::failure(m_lastError);
    return saved;
}

Result<LibraryData> StoreLibraryAccess::readBack()
{
    if (!QFileInfo(m_store.filePath()).isFile())
        return Result<LibraryData>::failure(QStringLiteral("Die Bibliotheksdatei fehlt."));
    return m_store.load();
}
