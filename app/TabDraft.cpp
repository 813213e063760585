#include "TabDraft.h"

#include "AppModel.h"
#include "Clock.h"
#include "Fmt.h"
#include "LibraryData.h"
#include "LibraryText.h"

TabDraft::TabDraft(QObject *parent) : QObject(parent) {}

void TabDraft::setModel(AppModel *model)
{
    if (model == m_model)
        return;
    if (m_model)
        disconnect(m_model, nullptr, this, nullptr);
    m_model = model;
    if (m_model)
        connect(m_model, &AppModel::detailTabChanged, this, &TabDraft::load);
    Q_EMIT modelChanged();
    load();
}

void TabDraft::load()
{
    const std::optional<SavedTab> &tab = m_model ? m_model->detailTab() : std::optional<SavedTab>();
    const QString id = tab ? idText(tab->id) : QString();
    // The same tab again (its row changed underneath) keeps what is being typed.
    if (id == m_tabId)
        return;
    m_tabId = id;
    setNote(tab ? tab->note : QString());
    setHasReminder(tab && tab->reminderAt);
    if (tab && tab->reminderAt)
        setReminderDate(tab->reminderAt->toLocalTime());
    else if (m_model)
        setReminderDate(LibraryText::defaultReminder(m_model->clock().now()));
    setProjectTags(tab ? tab->projectTags : QStringList());
    setNewProject(QString());
    Q_EMIT loaded();
}

void TabDraft::setNote(const QString &note)
{
    if (note == m_note)
        return;
    m_note = note;
    Q_EMIT noteChanged();
}

void TabDraft::setHasReminder(bool on)
{
    if (on == m_hasReminder)
        return;
    m_hasReminder = on;
    Q_EMIT hasReminderChanged();
    Q_EMIT reminderTextChanged();
}

void TabDraft::setReminderDate(const QDateTime &date)
{
    // The picker knows minutes only.
    QDateTime minute = date.toLocalTime();
    minute.setTime(QTime(minute.time().hour(), minute.time().minute()));
    if (minute == m_reminderDate)
        return;
    m_reminderDate = minute;
    Q_EMIT reminderDateChanged();
    Q_EMIT reminderTextChanged();
}

QString TabDraft::reminderText() const
{
    if (!m_hasReminder || !m_reminderDate.isValid())
        return QStringLiteral("keine Erinnerung");
    return Fmt::full(m_reminderDate);
}

void TabDraft::setNewProject(const QString &text)
{
    if (text == m_newProject)
        return;
    m_newProject = text;
    Q_EMIT newProjectChanged();
}

void TabDraft::setProjectTags(const QStringList &tags)
{
    if (tags == m_projectTags)
        return;
    m_projectTags = tags;
    Q_EMIT projectTagsChanged();
}

void TabDraft::setReminderParts(int year, int month, int day, int hour, int minute)
{
    const QDateTime date = LibraryText::reminderFromParts(year, month, day, hour, minute);
    if (date.isValid())
        setReminderDate(date);
}

void TabDraft::addProject()
{
    setProjectTags(LibraryText::addProject(m_projectTags, m_newProject));
    setNewProject(QString());
}

void TabDraft::removeProject(const QString &tag)
{
    QStringList tags = m_projectTags;
    tags.removeAll(tag);
    setProjectTags(tags);
}

void TabDraft::save()
{
    if (!m_model || m_tabId.isEmpty())
        return;
    addProject();
    const QVariant reminder = m_hasReminder && m_reminderDate.isValid() ? QVariant(m_reminderDate) : QVariant();
    m_model->saveEdits(m_tabId, m_note, reminder, m_projectTags);
    close();
}

void TabDraft::close()
{
    if (m_model)
        m_model->closeDetail();
}
