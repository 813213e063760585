#pragma once

#include <QDateTime>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <qqmlintegration.h>

class AppModel;

// The detail sheet's editable copy of the model's detail tab: note, reminder
// and project tags change here only, and reach the library on save().
class TabDraft : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_MOC_INCLUDE("AppModel.h")
    Q_PROPERTY(AppModel *model READ model WRITE setModel NOTIFY modelChanged)
    Q_PROPERTY(QString tabId READ tabId NOTIFY loaded)
    Q_PROPERTY(QString note READ note WRITE setNote NOTIFY noteChanged)
    Q_PROPERTY(bool hasReminder READ hasReminder WRITE setHasReminder NOTIFY hasReminderChanged)
    Q_PROPERTY(QDateTime reminderDate READ reminderDate WRITE setReminderDate NOTIFY reminderDateChanged)
    // "Mittwoch, 25.11.2026, 09:00", or "keine Erinnerung" while off.
    Q_PROPERTY(QString reminderText READ reminderText NOTIFY reminderTextChanged)
    Q_PROPERTY(QStringList projectTags READ projectTags NOTIFY projectTagsChanged)
    Q_PROPERTY(QString newProject READ newProject WRITE setNewProject NOTIFY newProjectChanged)

public:
    explicit TabDraft(QObject *parent = nullptr);

    AppModel *model() const { return m_model.data(); }
    void setModel(AppModel *model);

    QString tabId() const { return m_tabId; }
    QString note() const { return m_note; }
    void setNote(const QString &note);
    bool hasReminder() const { return m_hasReminder; }
    void setHasReminder(bool on);
    QDateTime reminderDate() const { return m_reminderDate; }
    void setReminderDate(const QDateTime &date);
    QString reminderText() const;
    QStringList projectTags() const { return m_projectTags; }
    QString newProject() const { return m_newProject; }
    void setNewProject(const QString &text);

    // The picker's fields; a day past the month's end becomes its last day.
    Q_INVOKABLE void setReminderParts(int year, int month, int day, int hour, int minute);
    // "+ Projekt" and return in the field: the typed name joins the tags.
    Q_INVOKABLE void addProject();
    Q_INVOKABLE void removeProject(const QString &tag);
    // Hands the copy to the model and closes the sheet. A tab deleted in the
    // meantime stays deleted.
    Q_INVOKABLE void save();
    // Closes the sheet without saving.
    Q_INVOKABLE void close();

signals:
    void modelChanged();
    void loaded();
    void noteChanged();
    void hasReminderChanged();
    void reminderDateChanged();
    void reminderTextChanged();
    void projectTagsChanged();
    void newProjectChanged();

private:
    // Starts afresh from the model's detail tab when another tab opens.
    void load();
    void setProjectTags(const QStringList &tags);

    QPointer<AppModel> m_model;
    QString m_tabId;
    QString m_note;
    bool m_hasReminder = false;
    QDateTime m_reminderDate;
    QStringList m_projectTags;
    QString m_newProject;
};
