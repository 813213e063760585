#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <QVariantList>
#include <qqmlintegration.h>

#include "UserContext.h"

class AppModel;

// What the context window shows of the user's context: one row per folder
// with its project count and whether it still exists, the titles that depend
// on the context, and the pickers' positions. Changes go to the model.
class ContextPresenter : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_MOC_INCLUDE("AppModel.h")
    Q_PROPERTY(AppModel *model READ model WRITE setModel NOTIFY modelChanged)
    // Maps with path, title, subtitle, status and found, in the context's order.
    Q_PROPERTY(QVariantList folders READ folders NOTIFY foldersChanged)
    Q_PROPERTY(QString connectTitle READ connectTitle NOTIFY contextChanged)
    Q_PROPERTY(QString freeText READ freeText NOTIFY contextChanged)
    Q_PROPERTY(QString freeTextSubtitle READ freeTextSubtitle NOTIFY contextChanged)
    // -1 where the stored value is none of the choices.
    Q_PROPERTY(int hintsPerDayIndex READ hintsPerDayIndex NOTIFY contextChanged)
    Q_PROPERTY(int hintHourIndex READ hintHourIndex NOTIFY contextChanged)
    Q_PROPERTY(QStringList countChoices READ countChoices CONSTANT)
    Q_PROPERTY(QStringList hourChoices READ hourChoices CONSTANT)
    Q_PROPERTY(QString configSnippet READ configSnippet CONSTANT)

public:
    static constexpr int firstHour = 5;
    static constexpr int lastHour = 22;
    static constexpr int maxHintsPerDay = 5;

    explicit ContextPresenter(QObject *parent = nullptr);

    AppModel *model() const { return m_model.data(); }
    void setModel(AppModel *model);

    QVariantList folders() const { return m_folders; }
    QString connectTitle() const;
    QString freeText() const { return m_context.freeText; }
    QString freeTextSubtitle() const;
    int hintsPerDayIndex() const;
    int hintHourIndex() const;
    QStringList countChoices() const;
    QStringList hourChoices() const;
    QString configSnippet() const;

    // "liest nur CLAUDE.md, TODO.yaml und README.md, 2 Projekte erkannt"
    static QString folderSubtitle(qsizetype projects);
    static QVariantMap folderRow(const QString &path);
    // The index of value among first…last, or -1.
    static int choiceIndex(qint64 value, int first, int last);

    // Re-reads the folders from disk: they may come and go while the window
    // stays open.
    Q_INVOKABLE void refresh();
    Q_INVOKABLE void addFolder(const QUrl &folder);
    Q_INVOKABLE void removeFolder(const QString &path);
    // Stored as typed; the reader trims it.
    Q_INVOKABLE void saveFreeText(const QString &text);
    Q_INVOKABLE void chooseHintsPerDay(int index);
    Q_INVOKABLE void chooseHintHour(int index);
    // Hints now, without notifications; the library window then lists them.
    Q_INVOKABLE void searchHints();
    Q_INVOKABLE void copyConfig();

Q_SIGNALS:
    void modelChanged();
    void contextChanged();
    void foldersChanged();

private:
    void followLibrary();

    QPointer<AppModel> m_model;
    QMetaObject::Connection m_libraryConnection;
    UserContext m_context;
    QVariantList m_folders;
};
