#include "WebAddress.h"

namespace WebAddress {

QUrl parse(const QString &address)
{
    return QUrl(address, QUrl::TolerantMode);
}

bool opensInBrowserTab(const QUrl &url)
{
    const QString scheme = url.scheme().toLower();
    return url.isValid() && (scheme == u"http" || scheme == u"https") && !url.host().isEmpty();
}

} // namespace WebAddress
