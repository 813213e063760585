#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QStringList>

namespace TestSupport {

// Reads a file whole; empty when it cannot be read.
QByteArray readFile(const QString &path);
// Writes a file whole, creating its folder; false on failure.
bool writeFile(const QString &path, const QByteArray &bytes);

struct ProcessResult
{
    int exitCode = -1; // -1 when the program did not start or crashed
    QString out;
    QString err;
};

// Runs a program to its end with extra environment variables (an empty value
// removes the variable) and the given standard input; 60 s at most.
ProcessResult run(const QString &program, const QStringList &args,
                  const QHash<QString, QString> &env = {}, const QByteArray &input = {});

} // namespace TestSupport
