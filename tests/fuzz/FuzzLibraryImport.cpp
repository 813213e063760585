// Tab lists from other programs (lines, bookmark files, exported libraries):
// any bytes give tabs and problems, never a crash, and what merging makes of
// them is a library the file format can hold.
#include "FuzzSupport.h"
#include "LibraryCodec.h"
#include "LibraryImport.h"

#include <QSet>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 1)
        return 0;
    static const QDateTime now = QDateTime::fromSecsSinceEpoch(1763321465, Qt::UTC);
    const QByteArray bytes = FuzzSupport::bytes(data + 1, size - 1);
    // The first byte picks the format; 0 lets the reader guess.
    ImportFormat format = LibraryImport::guessFormat(bytes);
    switch (data[0] % 4) {
    case 1: format = ImportFormat::onetab; break;
    case 2: format = ImportFormat::html; break;
    case 3: format = ImportFormat::json; break;
    default: break;
    }

    qint64 lastDone = -1;
    bool progressBroken = false;
    const ImportResult result = LibraryImport::parse(bytes, format, [&](qint64 done, qint64 total) {
        if (done < lastDone || done > total || total != bytes.size())
            progressBroken = true;
        lastDone = done;
    });
    if (progressBroken)
        FuzzSupport::fail("progress went back or beyond the total");
    if (result.cancelled)
        FuzzSupport::fail("cancelled without a stop request");
    const qint64 lines = bytes.count('\n') + 1;
    for (const ImportedWindow &window : result.windows) {
        for (const ImportedTab &tab : window.tabs) {
            // An exported library is one line; its tabs carry no line number.
            const qint64 first = format == ImportFormat::json ? 0 : 1;
            if (tab.line < first || tab.line > lines)
                FuzzSupport::fail("a tab from a line the file does not have");
            if (tab.url.isEmpty())
                FuzzSupport::fail("a tab without an address");
        }
    }
    for (const ImportProblem &problem : result.problems) {
        if (problem.line < 0 || problem.line > lines)
            FuzzSupport::fail("a problem on a line the file does not have");
    }

    LibraryData base;
    SavedTab known;
    known.id = QUuid(1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0);
    known.url = QStringLiteral("https://beispiel.ch/");
    known.savedAt = now;
    base.tabs = {known};
    const MergedImport merged = LibraryImport::merge(base, result, now);
    if (merged.library.tabs.size() != 1 + merged.newTabIds.size()
        || merged.newTabIds.size() + merged.skipped != result.tabCount())
        FuzzSupport::fail("merging lost or invented tabs");
    QSet<QString> urls;
    for (const SavedTab &tab : merged.library.tabs)
        urls.insert(tab.url);
    if (urls.size() != merged.library.tabs.size())
        FuzzSupport::fail("an address saved twice");
    const auto encoded = LibraryCodec::encode(merged.library);
    if (!encoded)
        FuzzSupport::fail("a merged library cannot be written");
    const auto decoded = LibraryCodec::decode(*encoded, now);
    if (!decoded || !(*decoded == merged.library))
        FuzzSupport::fail("a merged library does not survive the file");
    return 0;
}
