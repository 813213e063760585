#include "TextCut.h"

#include <QTextBoundaryFinder>

namespace {

// Latin-1 without CR has one character per code unit (no unit there joins
// its neighbour); skipping the boundary finder keeps long page texts cheap.
bool isSimple(const QString &text, qsizetype upTo)
{
    const QChar *data = text.constData();
    const qsizetype end = std::min(upTo, text.size());
    for (qsizetype i = 0; i < end; ++i) {
        const char16_t c = data[i].unicode();
        if (c >= 0x100 || c == u'\r')
            return false;
    }
    return true;
}

} // namespace

namespace TextCut {

qsizetype offsetOf(const QString &text, qsizetype count)
{
    if (count <= 0)
        return 0;
    // Checking one unit beyond the cut keeps a combining mark that follows it
    // out of the simple path.
    if (isSimple(text, count + 1))
        return std::min(count, text.size());
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype seen = 0;
    while (finder.toNextBoundary() != -1) {
        if (++seen == count)
            return finder.position();
    }
    return text.size();
}

qsizetype length(const QString &text)
{
    if (isSimple(text, text.size()))
        return text.size();
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype count = 0;
    while (finder.toNextBoundary() != -1)
        ++count;
    return count;
}

QString prefix(const QString &text, qsizetype count)
{
    const qsizetype end = offsetOf(text, count);
    return end >= text.size() ? text : text.left(end);
}

} // namespace TextCut
