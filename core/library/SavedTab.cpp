#include "SavedTab.h"

#include "TextCut.h"
#include "WebAddress.h"

QString SavedTab::domainOf(const QString &url)
{
    const QUrl parsed = WebAddress::parse(url);
    if (!parsed.isValid())
        return {};
    // The host as the address gives it in ASCII: an international name in
    // its "xn--" form, so both spellings of one host are one domain.
    QString host = parsed.host(QUrl::FullyEncoded).toLower();
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
