#include "SavedTab.h"

#include "TextCut.h"

#include <QUrl>

QString SavedTab::domainOf(const QString &url)
{
    const QUrl parsed(url, QUrl::StrictMode);
    if (!parsed.isValid())
        return {};
    QString host = parsed.host().toLower();
    if (host.startsWith(u"www."))
        host.remove(0, 4);
    return host;
}

QString SavedTab::searchableText() const
{
    const QString parts[] = {
        title, domain, summary, tags.join(u' '), note, TextCut::prefix(text, 1500),
    };
    QStringList kept;
    for (const QString &part : parts) {
        if (!part.isEmpty())
            kept.append(part);
    }
    return kept.join(u". ");
}
