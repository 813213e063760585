// The browser's length-prefixed frames: the same bytes give the same messages
// and the same failure however they are split on the way.
#include "FuzzSupport.h"
#include "NativeFrame.h"

namespace {

struct Outcome
{
    QList<QByteArray> bodies;
    QList<QJsonObject> messages;
    QString rawError;
    QString error;
};

Outcome readAll(const QByteArray &stream, qint64 limit, qsizetype chunk)
{
    Outcome out;
    NativeFrame raw(limit);
    NativeFrame parsed(limit);
    for (qsizetype at = 0; at < stream.size(); at += chunk) {
        const QByteArray piece = stream.mid(at, chunk);
        out.bodies += raw.feedRaw(piece);
        out.messages += parsed.feed(piece);
    }
    out.rawError = raw.error();
    out.error = parsed.error();
    if (raw.failed() && raw.pending() != 0)
        FuzzSupport::fail("a stopped reader still holds bytes");
    return out;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 1)
        return 0;
    // The first byte picks the limit and how the rest is cut into pieces.
    const qint64 limit = (data[0] & 0x80) ? NativeFrame::toBrowserLimit : 64;
    const qsizetype chunk = (data[0] & 0x0f) + 1;
    const QByteArray stream = FuzzSupport::bytes(data + 1, size - 1);

    const Outcome whole = readAll(stream, limit, qMax<qsizetype>(stream.size(), 1));
    const Outcome pieces = readAll(stream, limit, chunk);
    if (whole.bodies != pieces.bodies || whole.rawError != pieces.rawError)
        FuzzSupport::fail("raw frames depend on how the bytes arrived");
    if (whole.messages != pieces.messages || whole.error != pieces.error)
        FuzzSupport::fail("messages depend on how the bytes arrived");
    for (const QByteArray &body : whole.bodies) {
        if (body.size() > limit)
            FuzzSupport::fail("a frame above the limit came through");
    }
    return 0;
}
