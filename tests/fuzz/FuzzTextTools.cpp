// HTML to readable text and entity decoding, on any page a server may send.
#include "FuzzSupport.h"
#include "TextCut.h"
#include "TextTools.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 2)
        return 0;
    // The first two bytes are the character limit, the rest is the page.
    const qsizetype limit = qsizetype(data[0]) << 4 | (data[1] & 0x0f);
    const QString html = QString::fromUtf8(FuzzSupport::bytes(data + 2, size - 2));

    const TextTools::Readable readable = TextTools::readableText(html, limit);
    if (TextCut::length(readable.text) > limit)
        FuzzSupport::fail("readable text longer than its limit");

    const QString decoded = TextTools::decodeEntities(html);
    if (!html.contains(u'&') && decoded != html)
        FuzzSupport::fail("text without entities changed by decoding");

    if (limit >= 1 && TextCut::length(TextTools::truncate(html, limit)) > limit)
        FuzzSupport::fail("shortened text longer than asked");
    return 0;
}
