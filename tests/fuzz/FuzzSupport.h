#pragma once

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <cstdint>

// Shared pieces of the fuzz targets.
namespace FuzzSupport {

inline QByteArray bytes(const uint8_t *data, size_t size)
{
    return QByteArray(reinterpret_cast<const char *>(data), qsizetype(size));
}

// A property of the reader that the input broke: prints why and aborts, so
// libFuzzer keeps the input like a crash.
[[noreturn]] void fail(const char *what);

// A private folder for targets that need files, removed at exit; on tmpfs
// where there is one, so that saving stays fast.
const QString &scratchFolder();

} // namespace FuzzSupport
