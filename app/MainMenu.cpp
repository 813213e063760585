#include "MainMenu.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileDialog>
#include <QMessageBox>
#include <QPushButton>
#include <QQmlEngine>

#include "PlatformWords.h"

QHash<QQmlEngine *, QPointer<MainMenu>> MainMenu::s_attached;

MainMenu::MainMenu(QObject *parent) : QObject(parent) {}

QString MainMenu::demoModeEntry()
{
    return PlatformWords::demoMenuEntry({});
}

QString MainMenu::minimizeEntry()
{
    return PlatformWords::minimizeCommand();
}

MainMenu::~MainMenu()
{
    delete m_confirmation.data();
    delete m_about.data();
}

void MainMenu::attach(QQmlEngine *engine, MainMenu *menu)
{
    s_attached.insert(engine, menu);
    // The engine never owns the delegate's menu.
    QJSEngine::setObjectOwnership(menu, QJSEngine::CppOwnership);
    QObject::connect(engine, &QObject::destroyed, menu,
                     [engine] { s_attached.remove(engine); });
}

MainMenu *MainMenu::create(QQmlEngine *qmlEngine, QJSEngine *jsEngine)
{
    Q_UNUSED(jsEngine);
    if (MainMenu *menu = s_attached.value(qmlEngine).data())
        return menu;
    return new MainMenu(nullptr); // owned by the engine
}

void MainMenu::setDemoMode(bool on)
{
    if (on == m_demoMode)
        return;
    m_demoMode = on;
    emit demoModeChanged();
}

void MainMenu::about()
{
    if (!m_about) {
        m_about = new QMessageBox(QMessageBox::NoIcon, QStringLiteral("Über Pellmora"),
                                  QStringLiteral("Pellmora"), QMessageBox::Ok);
        m_about->setInformativeText(QStringLiteral("Version ")
                                    + QCoreApplication::applicationVersion());
        m_about->setAttribute(Qt::WA_DeleteOnClose);
    }
    m_about->show();
    m_about->raise();
    m_about->activateWindow();
}

void MainMenu::setOwnLibraryKept(bool kept)
{
    if (kept == m_ownLibraryKept)
        return;
    m_ownLibraryKept = kept;
    emit ownLibraryKeptChanged();
}

void MainMenu::clearLibrary()
{
    confirm(QStringLiteral("Bibliothek leeren?"),
            QStringLiteral("Alle gespeicherten Tabs, Notizen und Erinnerungen werden aus Pellmora "
                           "gelöscht. ")
                + PlatformWords::clearKeepsBrowser(),
            QStringLiteral("Leeren"), &MainMenu::clearLibraryRequested);
}

void MainMenu::loadDemo()
{
    if (!m_askBeforeDemo) {
        emit loadDemoRequested();
        return;
    }
    confirm(QStringLiteral("Beispiel-Daten laden?"),
            QStringLiteral("Die Beispiel-Daten treten an die Stelle deiner gespeicherten Tabs. Deine "
                           "Bibliothek wird ganz beiseitegelegt und kommt zurück, wenn du den Demo-Modus "
                           "ausschaltest oder im Menü Hilfe «Eigene Bibliothek zurückholen» wählst."),
            QStringLiteral("Laden"), &MainMenu::loadDemoRequested);
}

void MainMenu::confirm(const QString &text, const QString &informative, const QString &accept,
                       void (MainMenu::*accepted)())
{
    if (m_confirmation) {
        m_confirmation->raise();
        return;
    }
    auto *box = new QMessageBox;
    box->setIcon(QMessageBox::Warning);
    box->setWindowTitle(QStringLiteral("Pellmora"));
    box->setText(text);
    box->setInformativeText(informative);
    QPushButton *yes = box->addButton(accept, QMessageBox::AcceptRole);
    box->addButton(QStringLiteral("Abbrechen"), QMessageBox::RejectRole);
    box->setDefaultButton(yes);
    box->setAttribute(Qt::WA_DeleteOnClose);
    // Not a nested loop: the answer arrives as a signal.
    connect(box, &QMessageBox::buttonClicked, this, [this, yes, accepted](QAbstractButton *button) {
        if (button == yes)
            emit(this->*accepted)();
    });
    m_confirmation = box;
    box->setWindowModality(Qt::ApplicationModal);
    box->show();
}

void MainMenu::importLibrary()
{
    auto *dialog = new QFileDialog(nullptr, QStringLiteral("Importieren"), QDir::homePath());
    dialog->setNameFilters({QStringLiteral("Tab-Listen, Lesezeichen und Exporte (*.txt *.html *.htm *.json)"),
                            QStringLiteral("Alle Dateien (*)")});
    dialog->setAcceptMode(QFileDialog::AcceptOpen);
    dialog->setFileMode(QFileDialog::ExistingFile);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &QFileDialog::fileSelected, this, &MainMenu::importRequested);
    dialog->open();
}

void MainMenu::exportLibrary()
{
    // The format follows the file's ending; each filter brings its own.
    static const QList<std::pair<QString, QString>> filters = {
        {QStringLiteral("Pellmora-Bibliothek (*.json)"), QStringLiteral("json")},
        {QStringLiteral("Lesezeichen (*.html)"), QStringLiteral("html")},
        {QStringLiteral("Tab-Liste (*.txt)"), QStringLiteral("txt")},
        {QStringLiteral("Markdown (*.md)"), QStringLiteral("md")},
    };
    auto *dialog = new QFileDialog(nullptr, QStringLiteral("Exportieren"),
                                   QDir::home().filePath(QStringLiteral("Pellmora.json")));
    QStringList names;
    for (const auto &filter : filters)
        names.append(filter.first);
    dialog->setNameFilters(names);
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->setDefaultSuffix(filters.first().second);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &QFileDialog::filterSelected, dialog, [dialog](const QString &name) {
        for (const auto &filter : filters) {
            if (filter.first == name)
                dialog->setDefaultSuffix(filter.second);
        }
    });
    connect(dialog, &QFileDialog::fileSelected, this, &MainMenu::exportRequested);
    dialog->open();
}
