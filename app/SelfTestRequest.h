#pragma once

#include <QString>
#include <QStringList>

// Which self-test mode the command line asks for. The modes run before
// anything else of the application is created and end the process.
struct SelfTestRequest
{
    bool sleepTest = false;     // "--sleeptest"
    bool snapshot = false;      // "--snapshot [DIR]"
    QString snapshotFolder;     // where the screenshots go; "~" expanded

    bool any() const { return sleepTest || snapshot; }

    // Arguments as in QCoreApplication::arguments(), the program first.
    static SelfTestRequest fromArguments(const QStringList &arguments);

    friend bool operator==(const SelfTestRequest &, const SelfTestRequest &) = default;
};
