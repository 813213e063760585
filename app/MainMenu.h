#pragma once

#include <QHash>
#include <QMessageBox>
#include <QObject>
#include <QPointer>
#include <QString>
#include <qqmlintegration.h>

class QJSEngine;
class QQmlEngine;

// The commands of the main menu, which every window shows as its menu bar
// (MainMenuBar.qml). Each command is passed on as a request; the delegate
// decides what it does. Window-local commands (close, minimise, the edit
// commands) stay in QML.
class MainMenu : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(bool demoMode READ demoMode NOTIFY demoModeChanged)
    // Whether the user's own library lies aside, to be brought back.
    Q_PROPERTY(bool ownLibraryKept READ ownLibraryKept NOTIFY ownLibraryKeptChanged)
    // Entries that name the browser or the desktop (PlatformWords).
    Q_PROPERTY(QString demoModeEntry READ demoModeEntry CONSTANT)
    Q_PROPERTY(QString minimizeEntry READ minimizeEntry CONSTANT)

public:
    // Not default-constructible on purpose: QML would otherwise build its
    // own instance instead of asking create() for the delegate's.
    explicit MainMenu(QObject *parent);
    ~MainMenu() override;

    // The instance the views of an engine see. Without one (a view loaded on
    // its own) the engine gets a menu of its own whose requests go nowhere.
    static void attach(QQmlEngine *engine, MainMenu *menu);
    static MainMenu *create(QQmlEngine *qmlEngine, QJSEngine *jsEngine);

    bool demoMode() const { return m_demoMode; }
    static QString demoModeEntry();
    static QString minimizeEntry();
    // The check mark of the demo item always shows the model's mode.
    void setDemoMode(bool on);

    bool ownLibraryKept() const { return m_ownLibraryKept; }
    void setOwnLibraryKept(bool kept);
    // Set while the library holds the user's own tabs: loading the demo
    // data over them asks first.
    void setAskBeforeDemo(bool ask) { m_askBeforeDemo = ask; }

    // The open confirmation of "Bibliothek leeren …" or of loading the demo
    // data, if one is shown.
    QMessageBox *confirmation() const { return m_confirmation.data(); }

    Q_INVOKABLE void about();
    Q_INVOKABLE void openSettings() { emit openSettingsRequested(); }
    Q_INVOKABLE void hideApplication() { emit hideRequested(); }
    Q_INVOKABLE void quit() { emit quitRequested(); }
    Q_INVOKABLE void openLibrary() { emit openLibraryRequested(); }
    Q_INVOKABLE void openChat() { emit openChatRequested(); }
    Q_INVOKABLE void openContext() { emit openContextRequested(); }
    Q_INVOKABLE void regroup() { emit regroupRequested(); }
    Q_INVOKABLE void findHints() { emit findHintsRequested(); }
    Q_INVOKABLE void importLibrary();
    Q_INVOKABLE void exportLibrary();
    // Asks first while the library holds the user's own tabs.
    Q_INVOKABLE void loadDemo();
    Q_INVOKABLE void toggleDemo() { emit toggleDemoRequested(); }
    Q_INVOKABLE void bringBackOwnLibrary() { emit bringBackOwnLibraryRequested(); }
    // Asks first; only "Leeren" sends clearLibraryRequested.
    Q_INVOKABLE void clearLibrary();

signals:
    void demoModeChanged();
    void ownLibraryKeptChanged();
    void openSettingsRequested();
    void hideRequested();
    void quitRequested();
    void openLibraryRequested();
    void openChatRequested();
    void openContextRequested();
    void regroupRequested();
    void findHintsRequested();
    void importRequested(const QString &filePath);
    void exportRequested(const QString &filePath);
    void loadDemoRequested();
    void toggleDemoRequested();
    void bringBackOwnLibraryRequested();
    void clearLibraryRequested();

private:
    // A modal question whose first button (the default) sends `accepted`.
    void confirm(const QString &text, const QString &informative, const QString &accept,
                 void (MainMenu::*accepted)());

    bool m_demoMode = false;
    bool m_ownLibraryKept = false;
    bool m_askBeforeDemo = false;
    QPointer<QMessageBox> m_confirmation;
    QPointer<QMessageBox> m_about;
    static QHash<QQmlEngine *, QPointer<MainMenu>> s_attached;
};
