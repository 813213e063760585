#pragma once

#include "LibraryData.h"
#include "Result.h"

#include <QByteArray>
#include <QDateTime>

// The library file format: compact JSON, sorted keys, escaped slashes,
// whole-second UTC dates. Reading is all or nothing.
namespace LibraryCodec {

// `now` fills in `savedAt` of tabs written without it.
Result<LibraryData> decode(const QByteArray &json, const QDateTime &now);
Result<QByteArray> encode(const LibraryData &data);

} // namespace LibraryCodec
