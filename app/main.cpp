#include <QApplication>

#include <cstdio>

#include "AppDelegate.h"
#include "MoonIcon.h"
#include "SelfTestRequest.h"
#include "SingleInstance.h"

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Pellmora"));
    QApplication::setOrganizationName(QStringLiteral("Pellmora"));
    QApplication::setApplicationDisplayName(QStringLiteral("Pellmora"));
    QApplication::setDesktopFileName(QStringLiteral("pellmora"));
    QApplication::setWindowIcon(MoonIcon::icon());

    // The self-test modes come first: they work on their own sandbox, must
    // not meet a running instance and end the process themselves.
    const SelfTestRequest selfTest = SelfTestRequest::fromArguments(QApplication::arguments());
    if (selfTest.any()) {
        std::fputs("Selbsttest: in diesem Build nicht enthalten.\n", stderr);
        return 1;
    }

    SingleInstance instance;
    if (instance.claim() == SingleInstance::Role::Activated)
        return 0;

    AppDelegate delegate;
    QObject::connect(&instance, &SingleInstance::activationRequested, &delegate,
                     &AppDelegate::activate);
    delegate.launch();
    return QApplication::exec();
}
