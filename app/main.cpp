#include <QApplication>
#include <QQmlEngine>
#include <QSettings>

#include "QmlModule.h"
#include "TrayController.h"
#include "WindowManager.h"

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Pellmora"));
    QApplication::setOrganizationName(QStringLiteral("Pellmora"));
    QApplication::setApplicationDisplayName(QStringLiteral("Pellmora"));
    // The tray keeps the application alive when every window is closed.
    QApplication::setQuitOnLastWindowClosed(false);

    QQmlEngine engine;
    QmlModule::prepare(engine);
    QSettings settings;
    WindowManager windows(&engine, &settings);
    TrayController tray(&engine);

    QObject::connect(&tray, &TrayController::openLibraryRequested, &windows,
                     &WindowManager::showLibrary);
    QObject::connect(&tray, &TrayController::openChatRequested, &windows,
                     [&windows] { windows.showChat(); });
    QObject::connect(&tray, &TrayController::openContextRequested, &windows,
                     &WindowManager::showContext);
    QObject::connect(&tray, &TrayController::openSettingsRequested, &windows,
                     &WindowManager::showSettings);
    QObject::connect(&tray, &TrayController::quitRequested, &app, &QApplication::quit);

    tray.show();
    windows.showLibrary();
    return QApplication::exec();
}
