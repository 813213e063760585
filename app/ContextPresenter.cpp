#include "ContextPresenter.h"

#include <QDir>
#include <QFileInfo>

#include "AppModel.h"
#include "AssistantConfig.h"
#include "ContextReader.h"
#include "Library.h"

ContextPresenter::ContextPresenter(QObject *parent)
    : QObject(parent)
{
}

void ContextPresenter::setModel(AppModel *model)
{
    if (m_model == model)
        return;
    disconnect(m_libraryConnection);
    m_model = model;
    if (model)
        m_libraryConnection = connect(model, &AppModel::libraryChanged, this, &ContextPresenter::followLibrary);
    Q_EMIT modelChanged();
    followLibrary();
    refresh();
}

void ContextPresenter::followLibrary()
{
    const UserContext context = m_model ? m_model->library().data().context : UserContext();
    if (context == m_context)
        return;
    const bool foldersMoved = context.folderPaths != m_context.folderPaths;
    m_context = context;
    Q_EMIT contextChanged();
    if (foldersMoved)
        refresh();
}

void ContextPresenter::refresh()
{
    QVariantList rows;
    for (const QString &path : m_context.folderPaths)
        rows << folderRow(path);
    if (rows == m_folders)
        return;
    m_folders = rows;
    Q_EMIT foldersChanged();
}

QVariantMap ContextPresenter::folderRow(const QString &path)
{
    // The reader takes "~" for the home folder; so does the check.
    QString local = path;
    if (local == u"~" || local.startsWith(QStringLiteral("~/")))
        local = QDir::homePath() + local.mid(1);
    const bool found = QFileInfo(local).isDir();
    const QString name = QFileInfo(QDir::cleanPath(path)).fileName();
    return {
        {QStringLiteral("path"), path},
        {QStringLiteral("title"), QStringLiteral("Ordner: ") + (name.isEmpty() ? path : name)},
        {QStringLiteral("subtitle"), folderSubtitle(found ? ContextReader::projectCountIn(path) : 0)},
        {QStringLiteral("status"), found ? QStringLiteral("✓ verbunden") : QStringLiteral("nicht gefunden")},
        {QStringLiteral("found"), found},
    };
}

QString ContextPresenter::folderSubtitle(qsizetype projects)
{
    return QStringLiteral("liest nur CLAUDE.md, TODO.yaml und README.md, ") + QString::number(projects)
        + (projects == 1 ? QStringLiteral(" Projekt") : QStringLiteral(" Projekte")) + QStringLiteral(" erkannt");
}

QString ContextPresenter::connectTitle() const
{
    return m_context.folderPaths.isEmpty() ? QStringLiteral("Ordner verbinden")
                                           : QStringLiteral("Weiteren Ordner verbinden");
}

QString ContextPresenter::freeTextSubtitle() const
{
    if (m_context.freeText.isEmpty())
        return QStringLiteral("Noch leer. Schreib in ein, zwei Sätzen, woran du arbeitest.");
    return QStringLiteral("«") + m_context.freeText + QStringLiteral("»");
}

int ContextPresenter::choiceIndex(qint64 value, int first, int last)
{
    return value >= first && value <= last ? int(value - first) : -1;
}

int ContextPresenter::hintsPerDayIndex() const
{
    return choiceIndex(m_context.hintsPerDay, 0, maxHintsPerDay);
}

int ContextPresenter::hintHourIndex() const
{
    return choiceIndex(m_context.hintHour, firstHour, lastHour);
}

QStringList ContextPresenter::countChoices() const
{
    QStringList choices;
    for (int n = 0; n <= maxHintsPerDay; ++n)
        choices << QString::number(n);
    return choices;
}

QStringList ContextPresenter::hourChoices() const
{
    QStringList choices;
    for (int hour = firstHour; hour <= lastHour; ++hour)
        choices << QStringLiteral("%1:00").arg(hour, 2, 10, QLatin1Char('0'));
    return choices;
}

QString ContextPresenter::configSnippet() const
{
    return AssistantConfig::snippet();
}

void ContextPresenter::addFolder(const QUrl &folder)
{
    if (!m_model || !folder.isLocalFile())
        return;
    const QString path = QDir::cleanPath(QFileInfo(folder.toLocalFile()).absoluteFilePath());
    m_model->addContextFolder(path);
}

void ContextPresenter::removeFolder(const QString &path)
{
    if (m_model)
        m_model->removeContextFolder(path);
}

void ContextPresenter::saveFreeText(const QString &text)
{
    if (m_model)
        m_model->setContextFreeText(text);
}

void ContextPresenter::chooseHintsPerDay(int index)
{
    if (m_model && index >= 0 && index <= maxHintsPerDay)
        m_model->setHintsPerDay(index);
}

void ContextPresenter::chooseHintHour(int index)
{
    if (m_model && index >= 0 && index <= lastHour - firstHour)
        m_model->setHintHour(firstHour + index);
}

void ContextPresenter::searchHints()
{
    if (!m_model)
        return;
    m_model->generateHints(false);
    m_model->setSelection(SidebarSelection::hints());
}

void ContextPresenter::copyConfig()
{
    AssistantConfig::copyToClipboard(configSnippet());
}
