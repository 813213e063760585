#include "LibraryViewHarness.h"

#include "AppModelForeign.h"
#include "QmlModule.h"

#include <QQuickWindow>
#include <QSignalSpy>
#include <QTest>

LibraryViewHarness::LibraryViewHarness()
{
    // Grabbing offscreen needs the software scene graph, chosen once per process.
    static const bool chosen = [] {
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
        return true;
    }();
    Q_UNUSED(chosen);
}

LibraryViewHarness::~LibraryViewHarness()
{
    m_view.reset();
    m_engine.reset();
    AppModelForeign::setInstance(nullptr);
}

QUuid LibraryViewHarness::id(int n)
{
    return QUuid(QStringLiteral("{00000000-0000-4000-8000-%1}").arg(n, 12, 10, QLatin1Char('0')));
}

void LibraryViewHarness::fillSample()
{
    const QDateTime now = m_fixture.clock().now();
    LibraryData data;
    auto make = [&](int n, const QString &title, const QString &url, int window, int days) {
        SavedTab tab = AppModelFixture::tab(title, now.addDays(-days), n, url);
        tab.id = id(n);
        tab.windowId = id(200 + window);
        return tab;
    };
    SavedTab a = make(1, QStringLiteral("Ownership erklärt"), QStringLiteral("https://doc.rust-lang.org/book"), 1, 3);
    a.note = QStringLiteral("Kapitel 4 nochmals lesen");
    a.reminderAt = now.addSecs(-3600);
    SavedTab b = make(2, QStringLiteral("Cargo Workspaces"), QStringLiteral("https://doc.rust-lang.org/cargo"), 1, 3);
    b.reminderAt = now.addDays(2);
    SavedTab c = make(3, QStringLiteral("Zugfahrplan Chur"), QStringLiteral("https://www.sbb.ch/fahrplan"), 1, 3);
    c.readAt = now.addDays(-1);
    SavedTab d = make(4, QStringLiteral("Wandern im Engadin"), QStringLiteral("https://www.engadin.ch/wandern"), 2, 1);
    SavedTab e = make(5, QStringLiteral("Rezept Capuns"), QStringLiteral("https://www.swissmilk.ch/capuns"), 2, 1);
    e.summary = QStringLiteral("Ein Bündner Gericht aus Mangoldblättern.");
    e.tags = {QStringLiteral("kochen"), QStringLiteral("graubünden")};
    data.tabs = {a, b, c, d, e};

    SavedWindow w1{id(201), now.addDays(-3), QStringLiteral("Fenster 1 · 13.11."), {a.id, b.id, c.id}};
    SavedWindow w2{id(202), now.addDays(-1), QStringLiteral("Fenster 2 · 15.11."), {d.id, e.id}};
    data.windows = {w1, w2};

    Topic rust{id(101), QStringLiteral("Rust"), QStringLiteral("blau"), {a.id, b.id}, false};
    Topic travel{id(102), QStringLiteral("Reisen"), QStringLiteral("gruen"), {c.id, d.id}, false};
    Topic rest{id(103), QStringLiteral("Sonstiges"), QStringLiteral("grau"), {e.id}, true};
    data.topics = {rust, travel, rest};
    for (const Topic &topic : std::as_const(data.topics)) {
        for (const QUuid &tabId : topic.tabIds) {
            for (SavedTab &tab : data.tabs) {
                if (tab.id == tabId)
                    tab.topicId = topic.id;
            }
        }
    }
    data.hints = {Hint{id(301), d.id, QStringLiteral("Passt zu «Ferien 2027»: Wanderungen"), now, false}};
    m_fixture.library().replace(data);
}

bool LibraryViewHarness::load(const QString &selection)
{
    AppModelForeign::setInstance(&m_fixture.model());
    m_engine = std::make_unique<QQmlEngine>();
    QmlModule::prepare(*m_engine);
    m_view = std::make_unique<QQuickView>(m_engine.get(), nullptr);
    m_view->setColor(Qt::white);
    m_view->setResizeMode(QQuickView::SizeRootObjectToView);
    m_view->resize(1180, 720);
    m_view->setSource(QmlModule::viewUrl(QStringLiteral("LibraryView.qml")));
    if (m_view->status() != QQuickView::Ready) {
        for (const QQmlError &e : m_view->errors())
            qWarning() << e.toString();
        return false;
    }
    m_view->show();
    if (!QTest::qWaitForWindowExposed(m_view.get()))
        return false;
    if (!selection.isEmpty())
        m_fixture.model().setSelectionKey(selection);
    settle();
    return true;
}

QObject *LibraryViewHarness::findIn(QObject *root, const QString &name) const
{
    if (!root)
        return nullptr;
    if (root->objectName() == name)
        return root;
    if (QObject *found = root->findChild<QObject *>(name))
        return found;
    // Items of popups and list delegates hang below their visual parent only.
    if (auto *item = qobject_cast<QQuickItem *>(root)) {
        for (QQuickItem *child : item->childItems()) {
            if (QObject *found = findIn(child, name))
                return found;
        }
    }
    return nullptr;
}

QObject *LibraryViewHarness::find(const QString &name) const
{
    if (QObject *found = findIn(m_view->rootObject(), name))
        return found;
    return findIn(m_view->contentItem(), name);
}

QQuickItem *LibraryViewHarness::item(const QString &name) const
{
    return qobject_cast<QQuickItem *>(find(name));
}

QString LibraryViewHarness::text(const QString &name) const
{
    QObject *object = find(name);
    return object ? object->property("text").toString() : QStringLiteral("<%1 missing>").arg(name);
}

bool LibraryViewHarness::isShown(const QString &name) const
{
    const QQuickItem *found = item(name);
    return found && found->isVisible();
}

bool LibraryViewHarness::click(QQuickItem *target, Qt::MouseButton button)
{
    if (!target || !target->isVisible())
        return false;
    const QPointF centre = target->mapToScene(QPointF(target->width() / 2, target->height() / 2));
    QTest::mouseClick(m_view.get(), button, Qt::NoModifier, centre.toPoint());
    settle();
    return true;
}

bool LibraryViewHarness::click(const QString &name, Qt::MouseButton button)
{
    return click(item(name), button);
}

void LibraryViewHarness::type(const QString &text)
{
    for (const QChar c : text)
        QTest::sendKeyEvent(QTest::Click, m_view.get(), Qt::Key_unknown, QString(c), Qt::NoModifier);
    settle();
}

void LibraryViewHarness::settle()
{
    QCoreApplication::processEvents();
    QTRY_VERIFY_WITH_TIMEOUT(!m_fixture.model().isSearchPending() && !m_fixture.model().isBusy(), 5000);
    QCoreApplication::processEvents();
}

QQuickItem *LibraryViewHarness::rowFor(const QUuid &tabId) const
{
    auto *list = qobject_cast<QQuickItem *>(find(QStringLiteral("tabList")));
    auto *content = list ? list->property("contentItem").value<QQuickItem *>() : nullptr;
    if (!content)
        return nullptr;
    // Pooled delegates stay around hidden; only a shown one counts.
    for (QQuickItem *child : content->childItems()) {
        if (child->isVisible() && child->property("tabId").toString() == idText(tabId))
            return child;
    }
    return nullptr;
}
