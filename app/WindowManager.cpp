#include "WindowManager.h"

#include <QGuiApplication>
#include <QLoggingCategory>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QScreen>
#include <QSettings>

#include "QmlModule.h"

Q_LOGGING_CATEGORY(lcWindows, "pellmora.windows")

WindowManager::WindowManager(QQmlEngine *engine, QSettings *settings, QObject *parent)
    : QObject(parent), m_engine(engine), m_settings(settings)
{
    Q_ASSERT(engine && settings);
}

WindowManager::~WindowManager()
{
    for (auto it = m_windows.cbegin(); it != m_windows.cend(); ++it) {
        if (QQuickView *view = it.value().data()) {
            saveFrame(view, setupFor(it.key())->frameName);
            delete view;
        }
    }
}

const QList<WindowSetup> &WindowManager::setups()
{
    static const QList<WindowSetup> list = {
        {QStringLiteral("library"), QStringLiteral("Pellmora · Bibliothek"),
         QStringLiteral("LibraryView.qml"), QSize(1180, 720), QSize(1040, 640),
         QStringLiteral("Pellmora.library")},
        {QStringLiteral("chat"), QStringLiteral("Pellmora · Frag deine Tabs"),
         QStringLiteral("ChatView.qml"), QSize(820, 680), QSize(720, 560),
         QStringLiteral("Pellmora.chat")},
        {QStringLiteral("context"), QStringLiteral("Mein Kontext"),
         QStringLiteral("ContextView.qml"), QSize(), QSize(), QStringLiteral("Pellmora.context")},
        {QStringLiteral("settings"), QStringLiteral("Pellmora · Einstellungen"),
         QStringLiteral("SettingsView.qml"), QSize(), QSize(),
         QStringLiteral("Pellmora.settings")},
    };
    return list;
}

const WindowSetup *WindowManager::setupFor(const QString &key)
{
    for (const WindowSetup &setup : setups()) {
        if (setup.key == key)
            return &setup;
    }
    return nullptr;
}

void WindowManager::showLibrary()
{
    show(QStringLiteral("library"));
}

void WindowManager::showChat(const QString &question)
{
    if (show(QStringLiteral("chat")) && !question.isEmpty())
        emit chatQuestionAsked(question);
}

void WindowManager::showContext()
{
    show(QStringLiteral("context"));
}

void WindowManager::showSettings()
{
    show(QStringLiteral("settings"));
}

QQuickView *WindowManager::window(const QString &key) const
{
    return m_windows.value(key).data();
}

QQuickView *WindowManager::show(const QString &key)
{
    QQuickView *view = window(key);
    if (!view) {
        const WindowSetup *setup = setupFor(key);
        if (!setup)
            return nullptr;
        view = create(*setup);
        if (!view)
            return nullptr;
        m_windows.insert(key, view);
    }
    view->show();
    view->raise();
    view->requestActivate();
    return view;
}

static void polishAll(QQuickItem *item)
{
    item->ensurePolished();
    for (QQuickItem *child : item->childItems())
        polishAll(child);
}

QQuickView *WindowManager::create(const WindowSetup &setup)
{
    auto *view = new QQuickView(m_engine, nullptr);
    view->setTitle(setup.title);
    view->setColor(Qt::white);
    view->setResizeMode(setup.sizedByContent() ? QQuickView::SizeViewToRootObject
                                              : QQuickView::SizeRootObjectToView);
    // Every window carries the main menu as its menu bar above its view.
    view->setInitialProperties({{QStringLiteral("view"), QmlModule::viewUrl(setup.view)}});
    view->setSource(QmlModule::viewUrl(QStringLiteral("WindowFrame.qml")));
    const QQuickItem *root = view->rootObject();
    if (view->status() != QQuickView::Ready || !root
        || !root->property("content").value<QQuickItem *>()) {
        for (const QQmlError &error : view->errors())
            qCWarning(lcWindows) << error.toString();
        qCWarning(lcWindows) << "the view" << setup.view << "did not load";
        delete view;
        return nullptr;
    }

    const QScreen *screen = QGuiApplication::primaryScreen();
    const QRect available = screen ? screen->availableGeometry() : QRect();
    if (setup.sizedByContent()) {
        QSize content;
        // Layouts settle their sizes only when polished, which a window not
        // yet shown never was: measured before, wrapped texts count as if
        // laid out at no width, and the window comes out far too tall.
        for (int pass = 0; pass < 4; ++pass) {
            polishAll(view->rootObject());
            const QSize measured(qCeil(root->implicitWidth()), qCeil(root->implicitHeight()));
            if (measured == content)
                break;
            content = measured;
        }
        const QSize size = fitted(content, available);
        // Measured at its own size; from now on the view follows the window,
        // so that on a small screen it scrolls.
        view->setResizeMode(QQuickView::SizeRootObjectToView);
        view->resize(size);
        view->setMinimumSize(size);
        view->setMaximumSize(size);
    } else {
        // The sizes are those of the view; the menu bar comes on top.
        const QSize bar(0, qCeil(menuBarHeight(view)));
        view->resize(fitted(setup.size + bar, available));
        view->setMinimumSize(fitted(setup.minimumSize + bar, available));
        // Below its minimum the view scrolls rather than squeezes.
        view->rootObject()->setProperty("minimumContentSize", QSizeF(setup.minimumSize));
    }
    restoreFrame(view, setup);

    const QString frameName = setup.frameName;
    const auto save = [this, view, frameName] { saveFrame(view, frameName); };
    connect(view, &QWindow::xChanged, this, save);
    connect(view, &QWindow::yChanged, this, save);
    connect(view, &QWindow::widthChanged, this, save);
    connect(view, &QWindow::heightChanged, this, save);
    return view;
}

QQuickItem *WindowManager::content(const QQuickView *view)
{
    const QQuickItem *root = view ? view->rootObject() : nullptr;
    return root ? root->property("content").value<QQuickItem *>() : nullptr;
}

qreal WindowManager::menuBarHeight(const QQuickView *view)
{
    const QQuickItem *root = view ? view->rootObject() : nullptr;
    const auto *bar = root ? root->property("menuBar").value<QQuickItem *>() : nullptr;
    return bar ? bar->height() : 0;
}

QSize WindowManager::fitted(const QSize &wanted, const QRect &available)
{
    if (!available.isValid())
        return wanted;
    const QSize room = (available.size() - decoration).expandedTo(QSize(1, 1));
    return wanted.boundedTo(room);
}

void WindowManager::hideAll()
{
    for (const QPointer<QQuickView> &view : std::as_const(m_windows)) {
        if (view)
            view->hide();
    }
}

void WindowManager::restoreFrame(QQuickView *view, const WindowSetup &setup)
{
    const QRect saved = m_settings->value(setup.frameName).toRect();
    const bool onAScreen = std::any_of(
        QGuiApplication::screens().cbegin(), QGuiApplication::screens().cend(),
        [&](const QScreen *screen) { return screen->geometry().intersects(saved); });
    if (saved.isValid() && onAScreen) {
        // A content-sized window keeps its own size; only its place is remembered.
        // A frame saved on a larger screen shrinks to this one.
        const QScreen *on = QGuiApplication::screenAt(saved.center());
        const QRect room = on ? on->availableGeometry() : QRect();
        const QSize size = setup.sizedByContent()
            ? view->size()
            : fitted(saved.size(), room).expandedTo(view->minimumSize());
        view->setGeometry(QRect(saved.topLeft(), size));
        return;
    }
    const QScreen *screen = QGuiApplication::primaryScreen();
    if (!screen)
        return;
    const QRect area = screen->availableGeometry();
    QRect frame(QPoint(), view->size());
    frame.moveCenter(area.center());
    frame.moveTopLeft(QPoint(std::max(frame.left(), area.left()), std::max(frame.top(), area.top())));
    view->setGeometry(frame);
}

void WindowManager::saveFrame(QQuickView *view, const QString &frameName)
{
    m_settings->setValue(frameName, view->geometry());
}
