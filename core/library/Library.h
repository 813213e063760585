#pragma once

#include "LibraryData.h"
#include "LibraryStore.h"

#include <QDateTime>
#include <QObject>
#include <QString>

#include <functional>
#include <optional>

// The live library of the application: owns the current data, writes every
// change through to the file at once, and picks up other processes' writes.
// Main thread only.
class Library : public QObject
{
    Q_OBJECT

public:
    explicit Library(LibraryStore store, QObject *parent = nullptr);

    const LibraryData &data() const { return m_data; }
    const LibraryStore &store() const { return m_store; }
    // The message of the last failed write; empty after a successful one.
    const QString &lastError() const { return m_lastError; }
    // "Speichern fehlgeschlagen: " and the store's reason: the one form in
    // which a failed write of the library reaches the user.
    static QString saveFailedMessage(const QString &reason);

    void mutate(const std::function<void(LibraryData &)> &change);
    // Writes the file even when no tab has the id.
    void updateTab(const QUuid &id, const std::function<void(SavedTab &)> &change);
    void replace(LibraryData data);
    void reloadIfChangedOnDisk();
    // Reads the file again after it was replaced whole from outside the store.
    void reload();

Q_SIGNALS:
    void dataChanged();
    void lastErrorChanged();

private:
    void setData(LibraryData data);
    void persist();

    LibraryStore m_store;
    LibraryData m_data;
    std::optional<QDateTime> m_lastWrite;
    QString m_lastError;
};
