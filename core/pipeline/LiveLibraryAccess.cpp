#include "LiveLibraryAccess.h"

#include <QFileInfo>
#include <QMetaObject>
#include <QThread>

#include "Library.h"

namespace {

const QString kClosed = QStringLiteral("Die Bibliothek ist nicht mehr geöffnet.");

// Runs `work` on the library's thread and waits for it.
template <typename Work>
bool onLibraryThread(Library *library, Work work)
{
    if (!library)
        return false;
    if (QThread::currentThread() == library->thread())
        work();
    else
        QMetaObject::invokeMethod(library, work, Qt::BlockingQueuedConnection);
    return true;
}

} // namespace

LiveLibraryAccess::LiveLibraryAccess(Library *library)
    : m_library(library)
{
}

LibraryData LiveLibraryAccess::current()
{
    LibraryData data;
    Library *library = m_library.data();
    onLibraryThread(library, [&] { data = library->data(); });
    return data;
}

Status LiveLibraryAccess::write(const LibraryData &data)
{
    QString error;
    Library *library = m_library.data();
    if (!onLibraryThread(library, [&] {
            library->replace(data);
            error = library->lastError();
        }))
        return Status::failure(kClosed);
    if (!error.isEmpty())
        return Status::failure(error);
    return Done{};
}

Result<LibraryData> LiveLibraryAccess::readBack()
{
    std::optional<LibraryStore> store;
    Library *library = m_library.data();
    if (!onLibraryThread(library, [&] { store = library->store(); }))
        return Result<LibraryData>::failure(kClosed);
    if (!QFileInfo(store->filePath()).isFile())
        return Result<LibraryData>::failure(QStringLiteral("Die Bibliotheksdatei fehlt."));
    return store->load();
}
