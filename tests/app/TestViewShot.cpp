#include <QQuickItem>
#include <QQuickView>
#include <QQuickWindow>
#include <QTest>
#include <QtMath>

#include "AppModel.h"
#include "DemoData.h"
#include "Library.h"
#include "SelfTestSession.h"
#include "ViewShot.h"
#include "ViewHarness.h"
#include "TestRegistry.h"

// The views as the self-test modes build them, in a sandbox session with
// the demo library: fixed sizes are kept, fitting sizes hold after layout.
class TestViewShot : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void sizeHoldsAfterLayout_data();
    void sizeHoldsAfterLayout();
    void missingViewSaysWhy();

private:
    std::unique_ptr<SelfTestSession> m_session;
};

void TestViewShot::initTestCase()
{
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
}

void TestViewShot::init()
{
    ViewHarness::failOnQmlWarnings();
    Result<std::unique_ptr<SelfTestSession>> created = SelfTestSession::create(QStringLiteral("pellmora-viewshot-"));
    QVERIFY2(created.ok(), qPrintable(created.error()));
    m_session = std::move(created).value();
    m_session->library().replace(DemoData::library(QDateTime::currentDateTime()));
}

void TestViewShot::cleanup()
{
    const QString folder = m_session ? m_session->folder() : QString();
    if (m_session)
        QVERIFY(m_session->close());
    m_session.reset();
    QVERIFY(folder.isEmpty() || !QFileInfo::exists(folder));
}

void TestViewShot::sizeHoldsAfterLayout_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QSize>("points"); // empty: fitting
    QTest::addColumn<bool>("detail");
    QTest::newRow("library, fixed") << QStringLiteral("LibraryView.qml") << QSize(1180, 720) << false;
    QTest::newRow("chat, fixed") << QStringLiteral("ChatView.qml") << QSize(820, 760) << false;
    QTest::newRow("context, fitting") << QStringLiteral("ContextView.qml") << QSize() << false;
    QTest::newRow("popover, fitting") << QStringLiteral("PopoverView.qml") << QSize() << false;
    QTest::newRow("tab detail, fitting") << QStringLiteral("TabDetailView.qml") << QSize() << true;
}

void TestViewShot::sizeHoldsAfterLayout()
{
    QFETCH(QString, file);
    QFETCH(QSize, points);
    QFETCH(bool, detail);
    if (detail)
        m_session->model().setDetailTab(m_session->library().data().tabs.constFirst());

    const ViewShot shot(&m_session->engine());
    QString error;
    const std::unique_ptr<QQuickView> view = shot.build(file, points, &error);
    QVERIFY2(view, qPrintable(error));
    const QImage image = ViewShot::render(*view);
    QVERIFY(!image.isNull());
    QVERIFY(!view->isVisible());

    const QQuickItem *root = view->rootObject();
    if (!points.isEmpty()) {
        QCOMPARE(view->size(), points);
    } else {
        // After the frames the picture takes, the view's own size is still
        // the one it was given: nothing cut off, nothing left empty.
        QCOMPARE(view->size(), QSize(qCeil(root->implicitWidth()), qCeil(root->implicitHeight())));
    }
    QCOMPARE(root->size(), QSizeF(view->size()));
    QCOMPARE(image.size(), view->size() * view->devicePixelRatio());
    QVERIFY(ViewShot::distinctColours(image) > 4);
}

void TestViewShot::missingViewSaysWhy()
{
    const ViewShot shot(&m_session->engine());
    QString error;
    QVERIFY(!shot.build(QStringLiteral("NoSuchView.qml"), QSize(100, 100), &error));
    QVERIFY2(error.startsWith(QStringLiteral("NoSuchView.qml: ")), qPrintable(error));
}

PELLMORA_TEST_MAIN(TestViewShot)
#include "TestViewShot.moc"
