#pragma once

#include <QPoint>
#include <QRect>
#include <QSize>

// Where the tray popover goes: under (or, for a panel at the bottom, above)
// the tray icon, horizontally centred on it and kept inside the screen; at the
// top centre of the screen when the tray does not tell where its icon is.
namespace PopoverPlacement {

inline constexpr int kGap = 6;
inline constexpr int kMargin = 8;

QPoint position(const QRect &trayGeometry, const QRect &screenGeometry, const QSize &popoverSize);

} // namespace PopoverPlacement
