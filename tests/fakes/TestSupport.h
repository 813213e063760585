#pragma once

#include <QByteArray>
#include <QString>

namespace TestSupport {

// Reads a file whole; empty when it cannot be read.
QByteArray readFile(const QString &path);
// Writes a file whole, creating its folder; false on failure.
bool writeFile(const QString &path, const QByteArray &bytes);

} // namespace TestSupport
