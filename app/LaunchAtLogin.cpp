#include "LaunchAtLogin.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

LaunchAtLogin::LaunchAtLogin(QString folder, QString command)
    : m_folder(folder.isEmpty() ? defaultFolder() : std::move(folder))
    , m_command(std::move(command))
{
}

QString LaunchAtLogin::defaultFolder()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + QStringLiteral("/autostart");
}

QString LaunchAtLogin::entryPath() const
{
    return m_folder + QStringLiteral("/pellmora.desktop");
}

bool LaunchAtLogin::isEnabled() const
{
    return QFileInfo(entryPath()).isFile();
}

QByteArray LaunchAtLogin::entryText() const
{
    QString command = m_command.isEmpty() ? QCoreApplication::applicationFilePath() : m_command;
    // The desktop entry format needs quotes around a path with blanks.
    if (command.contains(QLatin1Char(' ')))
        command = QLatin1Char('"') + command + QLatin1Char('"');
    return QStringLiteral("[Desktop Entry]\n"
                          "Type=Application\n"
                          "Name=Pellmora\n"
                          "Comment=Legt Browser-Tabs schlafen\n"
                          "Exec=%1\n"
                          "Terminal=false\n"
                          "X-GNOME-Autostart-enabled=true\n")
        .arg(command)
        .toUtf8();
}

Status LaunchAtLogin::setEnabled(bool on) const
{
    const QString path = entryPath();
    if (!on) {
        if (!QFileInfo::exists(path))
            return Done{};
        QFile file(path);
        if (!file.remove())
            return Status::failure(QStringLiteral("Der Autostart-Eintrag lässt sich nicht entfernen (%1).")
                                       .arg(file.errorString()));
        return Done{};
    }
    if (!QDir().mkpath(m_folder))
        return Status::failure(QStringLiteral("Der Ordner %1 lässt sich nicht anlegen.").arg(m_folder));
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(entryText()) < 0 || !file.commit())
        return Status::failure(QStringLiteral("Der Autostart-Eintrag lässt sich nicht schreiben (%1).")
                                   .arg(file.errorString()));
    return Done{};
}
