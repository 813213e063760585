// The reader of osascript's printed answers (and of its error texts).
#include "FuzzSupport.h"
#include "OsascriptRunner.h"

namespace {

void walk(const ScriptValue &value, int depth)
{
    if (depth > 10000)
        FuzzSupport::fail("an answer nested deeper than the reader allows");
    for (qsizetype i = 1; i <= value.count(); ++i) {
        const auto item = value.item(i);
        if (!item)
            FuzzSupport::fail("a list item inside the count is missing");
        walk(*item, depth + 1);
    }
    if (value.item(value.count() + 1))
        FuzzSupport::fail("a list item beyond the count exists");
    if (value.isList() && value.stringValue())
        FuzzSupport::fail("a list has a text value");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString printed = QString::fromUtf8(FuzzSupport::bytes(data, size));
    if (const auto value = OsascriptRunner::parseValue(printed))
        walk(*value, 0);
    OsascriptRunner::parseFailure(printed);
    return 0;
}
