#include <QApplication>

#include <optional>

#include <QLibraryInfo>
#include <QLocale>
#include <QStringList>
#include <QTranslator>

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

    // Qt's own dialogs and buttons (the file chooser, "Abbrechen") speak the
    // application's language; without the catalogue they stay English.
    QTranslator qtTexts;
    if (qtTexts.load(QLocale(QLocale::German, QLocale::Switzerland), QStringLiteral("qt"), QStringLiteral("_"),
                     QLibraryInfo::path(QLibraryInfo::TranslationsPath)))
        QApplication::installTranslator(&qtTexts);

    AppDelegate delegate;
    QObject::connect(&instance, &SingleInstance::activationRequested, &delegate,
                     &AppDelegate::activate);
    delegate.launch();
    return QApplication::exec();
}
