#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <QUrl>

class QMenu;
class QQmlEngine;
class QQuickView;
class QSystemTrayIcon;

// The moon in the system tray: a left click toggles the popover, a right
// click opens the short menu. Title and tooltip texts come from the owner.
class TrayController : public QObject
{
    Q_OBJECT

public:
    static constexpr int kPopoverWidth = 420;

    explicit TrayController(QQmlEngine *engine, QObject *parent = nullptr);
    ~TrayController() override;

    void show();

    // The item's title and tooltip for a number of due reminders; the
    // tooltip also tells when the library could not be saved.
    static QString titleText(int dueCount);
    static QString toolTipText(int dueCount, bool saveFailed = false);

    // Tray panels have no room for a title: the count is drawn on the moon
    // and spelled out in the tooltip; the title is kept for trays that show one.
    void setDueCount(int count);
    // Until a write succeeds again.
    void setSaveFailed(bool failed);
    QString title() const { return m_title; }

    void setBadgeCount(int count);
    void setToolTip(const QString &text);
    QString toolTip() const;
    int badgeCount() const { return m_badgeCount; }

    // The popover's view; PopoverView.qml unless a test sets another. Its
    // root may declare the signals openLibrary() and openChat(): each closes
    // the popover and asks for that window.
    void setPopoverSource(const QUrl &source) { m_popoverSource = source; }

    // While held (a sleep run is under way) the popover stays open when
    // another window takes the focus, as the browser does when its tabs close.
    void setHeldOpen(bool held);

    bool isPopoverVisible() const;
    void togglePopover();
    void hidePopover();
    QQuickView *popover() const;
    QMenu *contextMenu() const { return m_menu; }

signals:
    // Sent just before the popover opens, so the owner can refresh live counts.
    void popoverAboutToShow();
    void popoverVisibleChanged(bool visible);
    void openLibraryRequested();
    void openChatRequested();
    void openContextRequested();
    void openSettingsRequested();
    void quitRequested();

private slots:
    void onPopoverOpenLibrary();
    void onPopoverOpenChat();

private:
    void ensurePopover();
    void forwardFromPopover(QObject *root, const QByteArray &signal, const char *slot);
    void showPopover();

    QQmlEngine *m_engine;
    QSystemTrayIcon *m_tray;
    QMenu *m_menu;
    QPointer<QQuickView> m_popover;
    QUrl m_popoverSource;
    int m_badgeCount = 0;
    bool m_heldOpen = false;
    int m_dueCount = 0;
    bool m_saveFailed = false;
    QString m_title;
};
