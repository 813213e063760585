#pragma once

#include <QString>
#include <QUrl>

// Addresses as browsers report them. Browsers leave characters such as
// "|", "{", "^" or a blank unescaped in the addresses they hand out, so an
// address is read as leniently as a browser reads it: what needs escaping is
// escaped, and such a tab keeps its domain, its text and its way back.
namespace WebAddress {

// The address as a URL; invalid only for text no browser would open.
QUrl parse(const QString &address);

// Whether a browser extension may open the address in a tab: web pages only.
// Scripts, inline data and the browser's own pages are refused there and go
// to the desktop's default handler instead.
bool opensInBrowserTab(const QUrl &url);

} // namespace WebAddress
