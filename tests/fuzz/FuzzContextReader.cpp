// Project files as the context reader finds them in the user's folders:
// any bytes, read capped and repaired.
#include "ContextReader.h"
#include "FuzzSupport.h"
#include "TextCut.h"

#include <QDir>
#include <QFile>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const QString folder = [] {
        const QString path = FuzzSupport::scratchFolder() + QStringLiteral("/projekt");
        QDir().mkpath(path);
        return path;
    }();
    const QString file = folder + QStringLiteral("/README.md");
    {
        QFile out(file);
        if (!out.open(QIODevice::WriteOnly | QIODevice::Truncate))
            FuzzSupport::fail("scratch file cannot be written");
        out.write(reinterpret_cast<const char *>(data), qint64(size));
    }

    const auto text = ContextReader::readLimited(file);
    if (size == 0 && text)
        FuzzSupport::fail("an empty file gave a text");
    if (text && TextCut::length(*text) > ContextReader::maxChars)
        FuzzSupport::fail("file text longer than the cap");

    UserContext context;
    context.folderPaths = {folder};
    const QList<ProjectText> projects = ContextReader::projectsFor(context);
    if (projects.size() != (text ? 1 : 0))
        FuzzSupport::fail("the project count does not match the readable file");
    return 0;
}
