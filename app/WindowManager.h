#pragma once

#include <QHash>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>

#include "WindowSetup.h"

class QQmlEngine;
class QQuickItem;
class QQuickView;
class QSettings;

// Opens the four windows, each at most once: created on first request, only
// hidden when closed, raised again on every later request. Frames are kept in
// the settings under each window's frame name.
class WindowManager : public QObject
{
    Q_OBJECT

public:
    // Neither the engine nor the settings are owned; both must outlive this.
    WindowManager(QQmlEngine *engine, QSettings *settings, QObject *parent = nullptr);
    ~WindowManager() override;

    static const QList<WindowSetup> &setups();
    static const WindowSetup *setupFor(const QString &key);

    Q_INVOKABLE void showLibrary();
    Q_INVOKABLE void showChat(const QString &question = {});
    Q_INVOKABLE void showContext();
    Q_INVOKABLE void showSettings();

    // The window for a key, creating and showing it; nullptr for an unknown
    // key or a view that failed to load.
    QQuickView *show(const QString &key);
    // The window for a key if it was created, else nullptr.
    QQuickView *window(const QString &key) const;
    // A window's own view, below the menu bar.
    static QQuickItem *content(const QQuickView *view);
    static qreal menuBarHeight(const QQuickView *view);

    // A window's size bounded by the screen's free area, leaving room for the
    // window manager's title bar and border, which the size does not include.
    // What no longer fits scrolls inside the window.
    static QSize fitted(const QSize &wanted, const QRect &available);
    static constexpr QSize decoration{16, 48};

    // Hides every window; the next show call brings each one back.
    void hideAll();

signals:
    // A non-empty question for the chat, sent after the chat window is in front.
    void chatQuestionAsked(const QString &question);

private:
    QQuickView *create(const WindowSetup &setup);
    void restoreFrame(QQuickView *view, const WindowSetup &setup);
    void saveFrame(QQuickView *view, const QString &frameName);

    QQmlEngine *m_engine;
    QSettings *m_settings;
    QHash<QString, QPointer<QQuickView>> m_windows;
};
