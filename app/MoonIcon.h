#pragma once

#include <QIcon>
#include <QImage>

// The tray's moon, drawn rather than shipped so it stays sharp at every panel
// size: a light crescent with a dark rim reads on light and dark panels alike.
namespace MoonIcon {

QImage render(int size);
// The moon with a count in a red disc at the lower right; the plain moon for
// a count of 0 or less. Counts above 99 show as "99+".
QImage renderWithBadge(int size, int count);
QString badgeText(int count);

QIcon icon(int badgeCount = 0);

} // namespace MoonIcon
