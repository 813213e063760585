// The library file reader: any bytes either fail cleanly or give a library
// that survives being written and read again unchanged.
#include "FuzzSupport.h"
#include "LibraryCodec.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const QDateTime now = QDateTime::fromSecsSinceEpoch(1763321465, Qt::UTC);
    const auto decoded = LibraryCodec::decode(FuzzSupport::bytes(data, size), now);
    if (!decoded)
        return 0;
    const auto encoded = LibraryCodec::encode(*decoded);
    if (!encoded)
        FuzzSupport::fail("a library that was read cannot be written");
    const auto again = LibraryCodec::decode(*encoded, now);
    if (!again)
        FuzzSupport::fail("the codec cannot read what it wrote");
    if (!(*again == *decoded))
        FuzzSupport::fail("a library changed on its way through the file");
    return 0;
}
