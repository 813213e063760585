#pragma once

#include <QString>
#include <QtCore/qnamespace.h>

#include <functional>
#include <memory>

class AppModelFixture;
class MainMenu;
class QQmlEngine;
class QQuickItem;
class QQuickView;
class TrayController;
class WindowManager;

// The application's windows offscreen over a fixture's model, opened as the
// running app opens them: the popover by the tray, the others by the window
// manager under the main menu. Finds items, clicks and types.
class ViewHarness
{
public:
    explicit ViewHarness(AppModelFixture &fixture);
    ~ViewHarness();

    // Makes the running test function (or, called from init(), each one)
    // fail on the warnings that broken QML prints: type and reference
    // errors, failed assignments, binding loops.
    static void failOnQmlWarnings();

    // "popover" or a window manager key; null when it does not show.
    QQuickView *show(const QString &window);
    QQuickView *view() const { return m_view; }
    WindowManager &windows() { return *m_windows; }

    // The first shown item, in tree order, of the window shown last (its open
    // popups included) that matches, or that has this objectName.
    QQuickItem *find(const std::function<bool(QQuickItem *)> &match, QQuickItem *from = nullptr) const;
    QQuickItem *find(const QString &name) const;
    // Clicks the item's centre when it lies in the window.
    bool click(QQuickItem *item, Qt::MouseButton button = Qt::LeftButton);
    bool click(const QString &name) { return click(find(name)); }
    // Focuses the item and types the text into it.
    bool type(const QString &name, const QString &text);
    // Lets bindings, queued calls, the model's search and work, and the
    // layout of the next frame settle.
    void settle();

private:
    AppModelFixture &m_fixture;
    std::unique_ptr<QQmlEngine> m_engine;
    std::unique_ptr<MainMenu> m_menu;
    std::unique_ptr<WindowManager> m_windows;
    std::unique_ptr<TrayController> m_tray;
    QQuickView *m_view = nullptr;
};
