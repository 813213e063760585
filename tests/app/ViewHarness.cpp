#include "ViewHarness.h"

#include <QQmlEngine>
#include <QtMath>
#include <QQuickItem>
#include <QQuickView>
#include <QTest>

#include "AppModelForeign.h"
#include "QmlModule.h"

ViewHarness::ViewHarness(AppModel &model)
{
    // Grabbing offscreen needs the software scene graph, chosen before the first window.
    static const bool software = [] {
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
        return true;
    }();
    Q_UNUSED(software);
    AppModelForeign::setInstance(&model);
    m_engine = std::make_unique<QQmlEngine>();
    QmlModule::prepare(*m_engine);
}

ViewHarness::~ViewHarness()
{
    m_view.reset();
    m_engine.reset();
}

bool ViewHarness::load(const QString &viewFile, QSizeF *sizeBeforeShow)
{
    m_view = std::make_unique<QQuickView>(m_engine.get(), nullptr);
    m_view->setColor(Qt::white);
    m_view->setResizeMode(QQuickView::SizeViewToRootObject);
    m_view->setSource(QmlModule::viewUrl(viewFile));
    if (m_view->status() != QQuickView::Ready) {
        for (const QQmlError &e : m_view->errors())
            qWarning() << e.toString();
        return false;
    }
    if (sizeBeforeShow)
        *sizeBeforeShow = QSizeF(root()->implicitWidth(), root()->implicitHeight());
    m_view->show();
    if (!QTest::qWaitForWindowExposed(m_view.get()))
        return false;
    // The window follows its view's size a moment later.
    QQuickItem *top = m_view->rootObject();
    return QTest::qWaitFor([&] {
        return m_view->width() == qCeil(top->implicitWidth()) && m_view->height() == qCeil(top->implicitHeight());
    });
}

QQuickItem *ViewHarness::root() const
{
    return m_view ? m_view->rootObject() : nullptr;
}

QObject *ViewHarness::find(const QString &name) const
{
    return findBelow(root(), name);
}

QObject *ViewHarness::findIn(const QString &parent, const QString &name) const
{
    QObject *outer = find(parent);
    return outer ? findBelow(outer, name) : nullptr;
}

QObject *ViewHarness::findBelow(QObject *from, const QString &name)
{
    if (!from)
        return nullptr;
    if (from->objectName() == name)
        return from;
    // Items made by a Repeater or a Loader hang below their parent item only.
    QList<QObject *> next;
    if (auto *item = qobject_cast<QQuickItem *>(from)) {
        for (QQuickItem *child : item->childItems())
            next << child;
    }
    for (QObject *child : from->children()) {
        if (!next.contains(child))
            next << child;
    }
    for (QObject *child : next) {
        if (QObject *found = findBelow(child, name))
            return found;
    }
    return nullptr;
}

QVariant ViewHarness::read(const QString &name, const char *property) const
{
    QObject *object = find(name);
    return object ? object->property(property) : QVariant();
}

QString ViewHarness::text(const QString &name) const
{
    return read(name, "text").toString();
}

bool ViewHarness::isShown(const QString &name) const
{
    return shownOnScreen(find(name));
}

bool ViewHarness::click(QObject *object)
{
    auto *item = qobject_cast<QQuickItem *>(object);
    if (!item || !item->isVisible() || !m_view)
        return false;
    const QPointF centre = item->mapToScene(QPointF(item->width() / 2, item->height() / 2));
    if (!QRectF(QPointF(0, 0), m_view->size()).contains(centre))
        return false;
    QTest::mouseClick(m_view.get(), Qt::LeftButton, {}, centre.toPoint());
    return true;
}

bool ViewHarness::type(const QString &name, const QString &text)
{
    auto *item = qobject_cast<QQuickItem *>(find(name));
    if (!item)
        return false;
    item->forceActiveFocus();
    if (!item->hasActiveFocus())
        return false;
    // Key events for a window exist only per Latin-1 character.
    for (const QChar c : text) {
        if (c.unicode() > 0xff)
            return false;
        QTest::keyClick(m_view.get(), c.toLatin1());
    }
    return true;
}

void ViewHarness::pressReturn()
{
    QTest::keyClick(m_view.get(), Qt::Key_Return);
}

QImage ViewHarness::render()
{
    return m_view->grabWindow();
}

bool shownOnScreen(QObject *object)
{
    if (auto *item = qobject_cast<QQuickItem *>(object))
        return item->isVisible();
    return false;
}
