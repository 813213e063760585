#pragma once

#include <QImage>
#include <QList>
#include <QObject>
#include <QPointF>
#include <QSizeF>
#include <QString>
#include <QVariant>

#include <memory>

class AppModel;
class QQmlEngine;
class QQuickItem;
class QQuickView;

// Loads one of the application's views offscreen over a given model, finds
// its items by objectName, clicks and types into them, and renders it.
class ViewHarness
{
public:
    explicit ViewHarness(AppModel &model);
    ~ViewHarness();

    // A file of the QML module's views folder; false (with the errors
    // logged) when it does not load or show. sizeBeforeShow: the root's
    // implicit size as it is before the first frame.
    bool load(const QString &viewFile, QSizeF *sizeBeforeShow = nullptr);
    QQuickView *view() const { return m_view.get(); }
    QQuickItem *root() const;

    QObject *find(const QString &name) const;
    // An item named `name` inside the item named `parent`.
    QObject *findIn(const QString &parent, const QString &name) const;
    // Through child items as well as child objects; the first in tree order.
    static QObject *findBelow(QObject *from, const QString &name);
    QVariant read(const QString &name, const char *property) const;
    QString text(const QString &name) const;
    bool isShown(const QString &name) const;

    // Clicks the item's centre when it lies in view, else fails.
    bool click(QObject *item);
    bool click(const QString &name) { return click(find(name)); }
    // Focuses a text field and types into it.
    bool type(const QString &name, const QString &text);
    void pressReturn();

    // The window as drawn, at the screen's pixel ratio.
    QImage render();

private:
    std::unique_ptr<QQmlEngine> m_engine;
    std::unique_ptr<QQuickView> m_view;
};

// Whether an item and all its ancestors are visible (QQuickItem::isVisible
// already folds the ancestors in; this also accepts plain objects).
bool shownOnScreen(QObject *object);
