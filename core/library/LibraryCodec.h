#pragma once

#include "LibraryData.h"
#include "Result.h"

#include <QByteArray>
#include <QDateTime>
#include <QIODevice>

// The library file format: compact JSON, sorted keys, escaped slashes,
// whole-second UTC dates. Reading is all or nothing.
namespace LibraryCodec {

// `now` fills in `savedAt` of tabs written without it.
Result<LibraryData> decode(const QByteArray &json, const QDateTime &now);
// The same for bytes mapped read-only from a file: the pages already read are
// dropped from memory while decoding (the file keeps them).
Result<LibraryData> decodeMapped(const char *bytes, qsizetype size, const QDateTime &now);
Result<QByteArray> encode(const LibraryData &data);
// The same bytes, written to `device` a megabyte at a time.
Status encodeTo(const LibraryData &data, QIODevice &device);

} // namespace LibraryCodec
