#pragma once

#include "Result.h"

#include <QString>

// Starting the application at login, through a desktop autostart entry.
// The entry's presence is the state: nothing else is remembered.
class LaunchAtLogin
{
public:
    // folder: where autostart entries live; empty for $XDG_CONFIG_HOME/autostart.
    // command: what the entry starts; empty for this executable.
    explicit LaunchAtLogin(QString folder = {}, QString command = {});

    static QString defaultFolder();
    QString entryPath() const;
    bool isEnabled() const;
    // Writes or removes the entry; the reason (German) when that fails.
    Status setEnabled(bool on) const;
    QByteArray entryText() const;

private:
    QString m_folder;
    QString m_command;
};
