#include "ViewHarness.h"

#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

#include "AppModelFixture.h"
#include "AppModelForeign.h"
#include "MainMenu.h"
#include "QmlModule.h"
#include "TrayController.h"
#include "WindowManager.h"

ViewHarness::ViewHarness(AppModelFixture &fixture)
    : m_fixture(fixture), m_engine(std::make_unique<QQmlEngine>()), m_menu(std::make_unique<MainMenu>(nullptr))
{
    failOnQmlWarnings();
    AppModelForeign::setInstance(&fixture.model());
    QmlModule::prepare(*m_engine);
    MainMenu::attach(m_engine.get(), m_menu.get());
    m_windows = std::make_unique<WindowManager>(m_engine.get(), &fixture.settings());
}

ViewHarness::~ViewHarness()
{
    // The views go before the model they show.
    m_tray.reset();
    m_windows.reset();
    AppModelForeign::setInstance(nullptr);
}

void ViewHarness::failOnQmlWarnings()
{
    static const QRegularExpression broken(
        QStringLiteral("TypeError|ReferenceError|Unable to assign|[Bb]inding loop detected"));
    QTest::failOnWarning(broken);
}

QQuickView *ViewHarness::show(const QString &window)
{
    if (window == u"popover") {
        m_tray = std::make_unique<TrayController>(m_engine.get());
        m_tray->togglePopover();
        m_view = m_tray->popover();
    } else {
        m_view = m_windows->show(window);
    }
    if (!m_view || !QTest::qWaitForWindowExposed(m_view))
        return nullptr;
    settle();
    return m_view;
}

QQuickItem *ViewHarness::find(const std::function<bool(QQuickItem *)> &match, QQuickItem *from) const
{
    from = from ? from : m_view->contentItem();
    if (!from->isVisible())
        return nullptr;
    if (match(from))
        return from;
    for (QQuickItem *child : from->childItems()) {
        if (QQuickItem *found = find(match, child))
            return found;
    }
    return nullptr;
}

QQuickItem *ViewHarness::find(const QString &name) const
{
    return find([&](QQuickItem *item) { return item->objectName() == name; });
}

bool ViewHarness::click(QQuickItem *item, Qt::MouseButton button)
{
    settle();
    const QPointF centre = item ? item->mapToScene(QPointF(item->width() / 2, item->height() / 2)) : QPointF(-1, -1);
    if (!QRectF(QPointF(0, 0), m_view->size()).contains(centre))
        return false;
    QTest::mouseClick(m_view, button, {}, centre.toPoint());
    settle();
    return true;
}

bool ViewHarness::type(const QString &name, const QString &text)
{
    QQuickItem *item = find(name);
    if (!item)
        return false;
    item->forceActiveFocus();
    for (const QChar c : text)
        QTest::sendKeyEvent(QTest::Click, m_view, Qt::Key_unknown, QString(c), Qt::NoModifier);
    settle();
    return item->hasActiveFocus();
}

void ViewHarness::settle()
{
    QCoreApplication::processEvents();
    AppModel &model = m_fixture.model();
    if (!QTest::qWaitFor([&] { return !model.isSearchPending() && !model.isBusy(); }, 5000))
        qWarning() << "the model is still busy";
    // Layouts place their items when the next frame is polished.
    QSignalSpy drawn(m_view, &QQuickWindow::frameSwapped);
    m_view->update();
    drawn.wait(1000);
}
