#pragma once

#include <functional>

#include "LibraryData.h"
#include "Result.h"

#include <QByteArray>
#include <QDateTime>

// The library file format: compact JSON, sorted keys, escaped slashes,
// whole-second UTC dates. Reading is all or nothing.
namespace LibraryCodec {

// `now` fills in `savedAt` of tabs written without it.
Result<LibraryData> decode(const QByteArray &json, const QDateTime &now);
// The same for bytes mapped read-only from a file: the pages already read are
// dropped from memory while decoding (the file keeps them).
Result<LibraryData> decodeMapped(const char *bytes, qsizetype size, const QDateTime &now);
Result<QByteArray> encode(const LibraryData &data);
// Takes the next bytes of a streamed encoding; false when they could not be
// written, which ends the encoding.
using ByteSink = std::function<bool(const char *bytes, qsizetype size)>;
// The same bytes, handed to `sink` a megabyte at a time.
Status encodeTo(const LibraryData &data, const ByteSink &sink);

} // namespace LibraryCodec
