#pragma once

#include <QImage>
#include <QList>
#include <QObject>
#include <QPointF>
#include <QSizeF>
#include <QString>
#include <QTemporaryDir>
#include <QVariant>

#include <memory>

class AppModel;
class QQmlEngine;
class QQuickItem;
class QQuickView;

// Loads one of the application's views (or a page of QML) offscreen, finds
// its items by objectName, clicks and types into them, and renders it.
class ViewHarness
{
public:
    // Without a model: for the shared controls, which need none.
    ViewHarness();
    explicit ViewHarness(AppModel &model);
    ~ViewHarness();

    // Makes the running test function (or, called from init(), each one)
    // fail on the warnings that broken QML prints: type and reference
    // errors, failed assignments, binding loops.
    static void failOnQmlWarnings();

    // A file of the QML module's views folder; false (with the errors
    // logged) when it does not load or show. The window takes the root's
    // size unless `windowSize` is given, then the root takes the window's.
    // sizeBeforeShow: the root's implicit size before the first frame.
    bool load(const QString &viewFile, QSizeF *sizeBeforeShow = nullptr, const QVariantMap &initial = {},
              QSize windowSize = {});
    // A page written in QML, with QtQuick and the module imported.
    bool loadQml(const QByteArray &qml);
    QQuickView *view() const { return m_view.get(); }
    QQuickItem *root() const;

    // Searches the view, its popups and menus included.
    QObject *find(const QString &name) const;
    QQuickItem *item(const QString &name) const;
    // An item named `name` inside the item named `parent`.
    QObject *findIn(const QString &parent, const QString &name) const;
    // Through child items as well as child objects; the first in tree order.
    static QObject *findBelow(QObject *from, const QString &name);
    QVariant read(const QString &name, const char *property) const;
    QString text(const QString &name) const;
    bool isShown(const QString &name) const;

    // Clicks the item's centre when it is shown and lies in view, else fails.
    bool click(QObject *item, Qt::MouseButton button = Qt::LeftButton);
    bool click(const QString &name, Qt::MouseButton button = Qt::LeftButton)
    {
        return click(find(name), button);
    }
    // Focuses a text field and types into it (Latin-1 only).
    bool type(const QString &name, const QString &text);
    // Types any text into the item with the focus, character by character.
    void typeText(const QString &text);
    void pressReturn();

    // After each click or typing, also wait until the model has no search or
    // work pending (for views whose input starts a search).
    void waitForModelAfterInput(bool wait) { m_waitForModel = wait; }
    // Lets bindings and queued calls settle (and the model, when waiting for it).
    void settle();

    // The window as drawn, at the screen's pixel ratio.
    QImage render();

private:
    bool show(QSize windowSize);

    AppModel *m_model = nullptr;
    bool m_waitForModel = false;
    QTemporaryDir m_dir;
    std::unique_ptr<QQmlEngine> m_engine;
    std::unique_ptr<QQuickView> m_view;
};

// Whether an item and all its ancestors are visible (QQuickItem::isVisible
// already folds the ancestors in; this also accepts plain objects).
bool shownOnScreen(QObject *object);
