#pragma once

#include <QFutureWatcher>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <qqmlintegration.h>

class AppModel;

// What the settings window shows beyond the model's own state: the library
// file, the pinned domains as editable text, the language model's state and
// its server settings, the search line, the connected browsers and the
// assistant configuration block.
class SettingsPresenter : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_MOC_INCLUDE("AppModel.h")
    Q_PROPERTY(AppModel *model READ model WRITE setModel NOTIFY modelChanged)
    Q_PROPERTY(QString libraryPath READ libraryPath NOTIFY modelChanged)
    Q_PROPERTY(QString searchLine READ searchLine NOTIFY modelChanged)
    Q_PROPERTY(QString configSnippet READ configSnippet CONSTANT)
    // Empty until the first answer of the model server.
    Q_PROPERTY(QString aiDescription READ aiDescription NOTIFY aiDescriptionChanged)
    Q_PROPERTY(QString serverUrl READ serverUrl NOTIFY serverSettingsChanged)
    Q_PROPERTY(QString modelName READ modelName NOTIFY serverSettingsChanged)
    Q_PROPERTY(QString embeddingModelName READ embeddingModelName NOTIFY serverSettingsChanged)
    Q_PROPERTY(QString browsersLine READ browsersLine NOTIFY browsersChanged)

public:
    explicit SettingsPresenter(QObject *parent = nullptr);
    ~SettingsPresenter() override;

    AppModel *model() const { return m_model.data(); }
    void setModel(AppModel *model);

    QString libraryPath() const;
    QString searchLine() const;
    QString configSnippet() const;
    QString aiDescription() const { return m_aiDescription; }
    QString serverUrl() const;
    QString modelName() const;
    QString embeddingModelName() const;
    QString browsersLine() const { return m_browsersLine; }

    // One domain per line: lines trimmed of spaces and tabs, empty ones
    // dropped, order kept, nothing else changed.
    static QStringList pinnedDomainsFrom(const QString &text);
    // The editor's text for the stored domains.
    Q_INVOKABLE QString pinnedText() const;
    Q_INVOKABLE void setPinnedText(const QString &text);

    // Stores the server settings for the next request; returns a message
    // when the address is refused, else an empty text.
    Q_INVOKABLE QString saveServerSettings(const QString &url, const QString &model, const QString &embeddingModel);
    // Asks the model server and the browser hub again.
    Q_INVOKABLE void refresh();
    Q_INVOKABLE void copyConfig();

    static QString browsersLineFor(const QStringList &browserNames);

Q_SIGNALS:
    void modelChanged();
    void aiDescriptionChanged();
    void serverSettingsChanged();
    void browsersChanged();

private:
    void refreshBrowsers();

    QPointer<AppModel> m_model;
    QString m_aiDescription;
    QString m_browsersLine;
    QFutureWatcher<QString> *m_aiWatcher = nullptr;
    bool m_aiAgain = false;
    // Browsers connect and leave while the window stays open.
    QTimer m_browserPoll;
};
