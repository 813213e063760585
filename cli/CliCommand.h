#pragma once

#include <QString>
#include <QStringList>
#include <QTextStream>

// One subcommand of pellmora-cli. `run` gets the arguments after the
// command's name and returns the exit status: 0 done, 1 failed, 2 misuse.
struct CliCommand
{
    QString name;
    QString synopsis; // one line for the overview
    int (*run)(const QStringList &args);
};

namespace Cli {

QTextStream &out();
QTextStream &err();

// Prints "Aufruf: pellmora-cli <usage>" to standard error; returns 2.
int usageError(const QString &usage, const QString &problem = {});
bool wantsHelp(const QStringList &args);

} // namespace Cli
