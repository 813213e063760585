#pragma once

#include "AppModelFixture.h"

#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QString>
#include <QVariant>

#include <memory>

// The library window offscreen over a fixture model: a sample library with
// fixed ids, finding items by objectName and clicking them like a user.
class LibraryViewHarness
{
public:
    // Fixed ids, so data tables can name topics and windows.
    static QUuid id(int n);
    static QString topicKey(int n) { return QStringLiteral("topic:") + idText(id(100 + n)); }
    static QString windowKey(int n) { return QStringLiteral("window:") + idText(id(200 + n)); }

    LibraryViewHarness();
    ~LibraryViewHarness();

    AppModelFixture &fixture() { return m_fixture; }
    AppModel &model() { return m_fixture.model(); }

    // Two windows (three tabs, then two), topics "Rust" (one window),
    // "Reisen" (two windows) and the unsorted one; notes, reminders (one due),
    // a read tab, an open hint, tags and a summary. Tabs are id(1)…id(5).
    void fillSample();

    // Loads LibraryView.qml, then shows the given selection (a key) if any;
    // false with the errors printed when it fails.
    bool load(const QString &selection = {});
    QQuickView *view() const { return m_view.get(); }

    // Searches the view, its popups and menus included.
    QObject *find(const QString &name) const;
    QQuickItem *item(const QString &name) const;
    QString text(const QString &name) const;
    bool isShown(const QString &name) const;
    bool click(const QString &name, Qt::MouseButton button = Qt::LeftButton);
    bool click(QQuickItem *item, Qt::MouseButton button = Qt::LeftButton);
    // Types into the item with the focus, character by character.
    void type(const QString &text);
    // Lets bindings, queued calls and the debounced search settle.
    void settle();
    // The row showing the tab, if it is among the list's visible rows.
    QQuickItem *rowFor(const QUuid &tabId) const;
    QObject *findIn(QObject *root, const QString &name) const;

private:
    AppModelFixture m_fixture;
    std::unique_ptr<QQmlEngine> m_engine;
    std::unique_ptr<QQuickView> m_view;
};
