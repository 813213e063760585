#include <QApplication>

#include <optional>

#include <QStringList>

#include "AppDelegate.h"
#include "MoonIcon.h"
#include "SelfTestRequest.h"
#include "SelfTestSupport.h"
#include "Snapshot.h"
#include "SingleInstance.h"

int main(int argc, char *argv[])
{
    // The self-test modes choose their platform before the application exists.
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    const SelfTestRequest selfTest = SelfTestRequest::fromArguments(arguments);
    SelfTestSupport::preparePlatform(selfTest);

    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Pellmora"));
    QApplication::setOrganizationName(QStringLiteral("Pellmora"));
    QApplication::setApplicationDisplayName(QStringLiteral("Pellmora"));
    QApplication::setDesktopFileName(QStringLiteral("pellmora"));
    QApplication::setWindowIcon(MoonIcon::icon());

    // The self-test modes come first: they work on their own sandbox, must
    // not meet a running instance and end the process themselves.
    if (const std::optional<int> status = Snapshot::runIfRequested(selfTest))
        return *status;

    SingleInstance instance;
    if (instance.claim() == SingleInstance::Role::Activated)
        return 0;

    AppDelegate delegate;
    QObject::connect(&instance, &SingleInstance::activationRequested, &delegate,
                     &AppDelegate::activate);
    delegate.launch();
    return QApplication::exec();
}
