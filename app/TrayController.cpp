#include "TrayController.h"

#include <QGuiApplication>
#include <QLoggingCategory>
#include <QMenu>
#include <QQuickItem>
#include <QQuickView>
#include <QScreen>
#include <QSystemTrayIcon>

#include "MoonIcon.h"
#include "PopoverPlacement.h"
#include "QmlModule.h"

Q_LOGGING_CATEGORY(lcTray, "pellmora.tray")

TrayController::TrayController(QQmlEngine *engine, QObject *parent)
    : QObject(parent), m_engine(engine), m_tray(new QSystemTrayIcon(this)), m_menu(new QMenu)
{
    m_tray->setIcon(MoonIcon::icon());
    m_tray->setToolTip(QStringLiteral("Pellmora"));

    m_menu->addAction(QStringLiteral("Bibliothek öffnen"), this,
                      &TrayController::openLibraryRequested);
    m_menu->addAction(QStringLiteral("Frag deine Tabs"), this, &TrayController::openChatRequested);
    m_menu->addAction(QStringLiteral("Mein Kontext"), this, &TrayController::openContextRequested);
    m_menu->addAction(QStringLiteral("Einstellungen …"), this,
                      &TrayController::openSettingsRequested);
    m_menu->addSeparator();
    QAction *quit = m_menu->addAction(QStringLiteral("Pellmora beenden"), this,
                                      &TrayController::quitRequested);
    quit->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q));
    m_tray->setContextMenu(m_menu);

    connect(m_tray, &QSystemTrayIcon::activated, this,
            [this](QSystemTrayIcon::ActivationReason reason) {
                if (reason == QSystemTrayIcon::Trigger)
                    togglePopover();
            });
}

TrayController::~TrayController()
{
    delete m_popover.data();
    delete m_menu;
}

void TrayController::show()
{
    if (!QSystemTrayIcon::isSystemTrayAvailable())
        qCWarning(lcTray) << "no system tray; the windows stay reachable from the launcher";
    m_tray->show();
}

QString TrayController::titleText(int dueCount)
{
    if (dueCount <= 0)
        return {};
    return QStringLiteral(" ⏰ ") + QString::number(dueCount);
}

QString TrayController::toolTipText(int dueCount, bool saveFailed)
{
    QStringList parts;
    if (saveFailed)
        parts.append(QStringLiteral("Die Bibliothek konnte nicht gespeichert werden"));
    // The plural for every count, 1 included.
    if (dueCount > 0)
        parts.append(QString::number(dueCount) + QStringLiteral(" fällige Erinnerungen"));
    if (parts.isEmpty())
        return QStringLiteral("Pellmora");
    return QStringLiteral("Pellmora: ") + parts.join(QStringLiteral(", "));
}

void TrayController::setDueCount(int count)
{
    m_dueCount = count;
    m_title = titleText(count);
    setToolTip(toolTipText(count, m_saveFailed));
    setBadgeCount(count);
}

void TrayController::setSaveFailed(bool failed)
{
    if (failed == m_saveFailed)
        return;
    m_saveFailed = failed;
    setToolTip(toolTipText(m_dueCount, m_saveFailed));
}

void TrayController::setBadgeCount(int count)
{
    count = std::max(0, count);
    if (count == m_badgeCount)
        return;
    m_badgeCount = count;
    m_tray->setIcon(MoonIcon::icon(count));
}

void TrayController::setToolTip(const QString &text)
{
    m_tray->setToolTip(text);
}

QString TrayController::toolTip() const
{
    return m_tray->toolTip();
}

void TrayController::setHeldOpen(bool held)
{
    if (held == m_heldOpen)
        return;
    m_heldOpen = held;
    // Taking the focus back lets the next click elsewhere close it again.
    if (!held && isPopoverVisible() && !m_popover->isActive())
        m_popover->requestActivate();
}

bool TrayController::isPopoverVisible() const
{
    return m_popover && m_popover->isVisible();
}

QQuickView *TrayController::popover() const
{
    return m_popover.data();
}

void TrayController::togglePopover()
{
    if (isPopoverVisible())
        hidePopover();
    else
        showPopover();
}

void TrayController::hidePopover()
{
    if (m_popover)
        m_popover->hide();
}

void TrayController::ensurePopover()
{
    if (m_popover)
        return;
    auto *view = new QQuickView(m_engine, nullptr);
    view->setFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
    view->setColor(Qt::white);
    view->setResizeMode(QQuickView::SizeRootObjectToView);
    view->setSource(m_popoverSource.isEmpty() ? QmlModule::viewUrl(QStringLiteral("PopoverView.qml"))
                                              : m_popoverSource);
    if (view->status() != QQuickView::Ready || !view->rootObject()) {
        for (const QQmlError &error : view->errors())
            qCWarning(lcTray) << error.toString();
        delete view;
        return;
    }
    // Fixed width, height from the content, which changes with the run's stage.
    const auto fit = [view] {
        const int h = std::max(1, qCeil(view->rootObject()->implicitHeight()));
        view->resize(kPopoverWidth, h);
    };
    fit();
    connect(view->rootObject(), &QQuickItem::implicitHeightChanged, view, fit);
    forwardFromPopover(view->rootObject(), "openLibrary()", SLOT(onPopoverOpenLibrary()));
    forwardFromPopover(view->rootObject(), "openChat()", SLOT(onPopoverOpenChat()));
    // Transient: a click elsewhere takes the focus and closes it.
    connect(view, &QWindow::activeChanged, view, [this, view] {
        if (!view->isActive() && !m_heldOpen)
            view->hide();
    });
    connect(view, &QWindow::visibleChanged, this, &TrayController::popoverVisibleChanged);
    m_popover = view;
}

void TrayController::forwardFromPopover(QObject *root, const QByteArray &signal,
                                        const char *slot)
{
    if (root->metaObject()->indexOfSignal(signal.constData()) < 0)
        return;
    // QML signals are known by name only.
    connect(root, QByteArray("2" + signal).constData(), this, slot);
}

void TrayController::onPopoverOpenLibrary()
{
    hidePopover();
    emit openLibraryRequested();
}

void TrayController::onPopoverOpenChat()
{
    hidePopover();
    emit openChatRequested();
}

void TrayController::showPopover()
{
    ensurePopover();
    if (!m_popover)
        return;
    emit popoverAboutToShow();
    const QRect tray = m_tray->geometry();
    QScreen *screen = tray.isValid() ? QGuiApplication::screenAt(tray.center()) : nullptr;
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    if (screen) {
        m_popover->setScreen(screen);
        m_popover->setPosition(
            PopoverPlacement::position(tray, screen->availableGeometry(), m_popover->size()));
    }
    m_popover->show();
    m_popover->raise();
    m_popover->requestActivate();
}
