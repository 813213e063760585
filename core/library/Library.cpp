#include "Library.h"

#include "Clock.h"

Library::Library(LibraryStore store, QObject *parent)
    : QObject(parent)
    , m_store(std::move(store))
    , m_data(m_store.load())
    , m_lastWrite(m_store.modificationDate())
{
}

void Library::mutate(const std::function<void(LibraryData &)> &change)
{
    LibraryData copy = m_data;
    change(copy);
    setData(std::move(copy));
    persist();
}

void Library::updateTab(const QUuid &id, const std::function<void(SavedTab &)> &change)
{
    LibraryData copy = m_data;
    for (SavedTab &tab : copy.tabs) {
        if (tab.id == id) {
            change(tab);
            break;
        }
    }
    setData(std::move(copy));
    persist();
}

void Library::replace(LibraryData data)
{
    setData(std::move(data));
    persist();
}

void Library::reloadIfChangedOnDisk()
{
    const auto modified = m_store.modificationDate();
    if (!modified)
        return;
    // Our own write shows up with a slightly later time on some file systems.
    if (m_lastWrite && *modified <= m_lastWrite->addMSecs(500))
        return;
    setData(m_store.load());
    m_lastWrite = modified;
}

void Library::reload()
{
    setData(m_store.load());
    m_lastWrite = m_store.modificationDate();
}

void Library::setData(LibraryData data)
{
    m_data = std::move(data);
    Q_EMIT dataChanged();
}

QString Library::saveFailedMessage(const QString &reason)
{
    return QStringLiteral("Speichern fehlgeschlagen: ") + reason;
}

void Library::persist()
{
    const Status saved = m_store.save(m_data);
    QString error;
    if (saved) {
        m_lastWrite = m_store.modificationDate().value_or(Clock::system().now());
    } else {
        error = saveFailedMessage(saved.error());
    }
    if (error != m_lastError) {
        m_lastError = error;
        Q_EMIT lastErrorChanged();
    }
}
