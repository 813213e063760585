#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <QTimer>
#include <QVariantMap>
#include <qqmlintegration.h>

class AppModel;

// What the library window shows beyond the model's own state: the header
// texts, the empty-list text, the demo capsule and each row's derived lines.
// Follows the model's changes; rows re-read rowInfo() when `revision` moves.
class LibraryPresenter : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_MOC_INCLUDE("AppModel.h")
    Q_PROPERTY(AppModel *model READ model WRITE setModel NOTIFY modelChanged)
    Q_PROPERTY(QString title READ title NOTIFY textsChanged)
    Q_PROPERTY(QString subtitle READ subtitle NOTIFY textsChanged)
    Q_PROPERTY(QString emptyText READ emptyText NOTIFY textsChanged)
    Q_PROPERTY(QString reopenText READ reopenText NOTIFY textsChanged)
    Q_PROPERTY(bool hasDemoTabs READ hasDemoTabs NOTIFY textsChanged)
    Q_PROPERTY(int revision READ revision NOTIFY revisionChanged)

public:
    explicit LibraryPresenter(QObject *parent = nullptr);

    AppModel *model() const { return m_model.data(); }
    void setModel(AppModel *model);

    QString title() const;
    QString subtitle() const;
    QString emptyText() const;
    QString reopenText() const;
    bool hasDemoTabs() const;
    int revision() const { return m_revision; }

    // For one listed tab: dateLine, reminderText, reminderDue, hasHint and
    // hintReason (the latter only while the hints are selected).
    Q_INVOKABLE QVariantMap rowInfo(const QString &tabId) const;
    // A count written the Swiss way (1'234).
    Q_INVOKABLE static QString number(int value);
    // A sidebar click: the search ends and the row's selection is shown.
    Q_INVOKABLE void select(const QString &selectionKey);

signals:
    void modelChanged();
    void textsChanged();
    void revisionChanged();

private:
    void bump();

    QPointer<AppModel> m_model;
    int m_revision = 0;
    // Reminders fall due while the window stays open.
    QTimer m_minute;
};
