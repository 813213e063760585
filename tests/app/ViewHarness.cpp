#include "ViewHarness.h"

#include <QFile>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

#include "AppModel.h"
#include "AppModelForeign.h"
#include "QmlModule.h"

ViewHarness::ViewHarness()
{
    failOnQmlWarnings();
    // Grabbing offscreen needs the software scene graph, chosen before the first window.
    static const bool software = [] {
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
        return true;
    }();
    Q_UNUSED(software);
    m_engine = std::make_unique<QQmlEngine>();
    QmlModule::prepare(*m_engine);
}

ViewHarness::ViewHarness(AppModel &model)
    : ViewHarness()
{
    m_model = &model;
    AppModelForeign::setInstance(&model);
}

ViewHarness::~ViewHarness()
{
    m_view.reset();
    m_engine.reset();
    if (m_model)
        AppModelForeign::setInstance(nullptr);
}

void ViewHarness::failOnQmlWarnings()
{
    static const QRegularExpression broken(
        QStringLiteral("TypeError|ReferenceError|Unable to assign|[Bb]inding loop detected"));
    QTest::failOnWarning(broken);
}

bool ViewHarness::load(const QString &viewFile, QSizeF *sizeBeforeShow, const QVariantMap &initial,
                       QSize windowSize)
{
    m_view = std::make_unique<QQuickView>(m_engine.get(), nullptr);
    m_view->setColor(Qt::white);
    if (windowSize.isValid()) {
        m_view->setResizeMode(QQuickView::SizeRootObjectToView);
        m_view->resize(windowSize);
    } else {
        m_view->setResizeMode(QQuickView::SizeViewToRootObject);
    }
    if (!initial.isEmpty())
        m_view->setInitialProperties(initial);
    m_view->setSource(viewFile.contains(u'/') ? QUrl::fromLocalFile(viewFile) : QmlModule::viewUrl(viewFile));
    if (m_view->status() != QQuickView::Ready) {
        for (const QQmlError &e : m_view->errors())
            qWarning() << e.toString();
        return false;
    }
    if (sizeBeforeShow)
        *sizeBeforeShow = QSizeF(root()->implicitWidth(), root()->implicitHeight());
    return show(windowSize);
}

bool ViewHarness::loadQml(const QByteArray &qml)
{
    static int counter = 0;
    const QString path = m_dir.filePath(QStringLiteral("Page%1.qml").arg(++counter));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    file.write("import QtQuick\nimport Pellmora\n" + qml);
    file.close();
    return load(path);
}

bool ViewHarness::show(QSize windowSize)
{
    m_view->show();
    if (!QTest::qWaitForWindowExposed(m_view.get()))
        return false;
    if (windowSize.isValid()) {
        settle();
        return true;
    }
    // The window follows its root's size a moment later.
    QQuickItem *top = m_view->rootObject();
    return QTest::qWaitFor([&] {
        return qAbs(m_view->width() - top->width()) < 1 && qAbs(m_view->height() - top->height()) < 1;
    });
}

QQuickItem *ViewHarness::root() const
{
    return m_view ? m_view->rootObject() : nullptr;
}

QObject *ViewHarness::find(const QString &name) const
{
    if (!m_view)
        return nullptr;
    // Popups and menus hang below the window's content item, beside the root.
    if (QObject *found = findBelow(root(), name))
        return found;
    return findBelow(m_view->contentItem(), name);
}

QQuickItem *ViewHarness::item(const QString &name) const
{
    return qobject_cast<QQuickItem *>(find(name));
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

bool ViewHarness::click(QObject *object, Qt::MouseButton button)
{
    auto *item = qobject_cast<QQuickItem *>(object);
    if (!item || !item->isVisible() || !m_view)
        return false;
    // Layouts place their items when the next frame is polished: click where
    // the item will be drawn, not where it stood before.
    QSignalSpy drawn(m_view.get(), &QQuickWindow::frameSwapped);
    m_view->update();
    drawn.wait(1000);
    const QPointF centre = item->mapToScene(QPointF(item->width() / 2, item->height() / 2));
    if (!QRectF(QPointF(0, 0), m_view->size()).contains(centre))
        return false;
    QTest::mouseClick(m_view.get(), button, {}, centre.toPoint());
    if (m_waitForModel)
        settle();
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
    if (m_waitForModel)
        settle();
    return true;
}

void ViewHarness::typeText(const QString &text)
{
    for (const QChar c : text)
        QTest::sendKeyEvent(QTest::Click, m_view.get(), Qt::Key_unknown, QString(c), Qt::NoModifier);
    if (m_waitForModel)
        settle();
}

void ViewHarness::pressReturn()
{
    QTest::keyClick(m_view.get(), Qt::Key_Return);
}

void ViewHarness::settle()
{
    QCoreApplication::processEvents();
    if (m_model && m_waitForModel) {
        if (!QTest::qWaitFor([this] { return !m_model->isSearchPending() && !m_model->isBusy(); }, 5000))
            qWarning() << "the model is still busy";
    }
    QCoreApplication::processEvents();
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
