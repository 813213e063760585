#include "PopoverPlacement.h"

#include <algorithm>

namespace {

int clampInto(int value, int low, int high)
{
    // A popover wider than the screen starts at its edge rather than off it.
    return high < low ? low : std::clamp(value, low, high);
}

} // namespace

namespace PopoverPlacement {

QPoint position(const QRect &trayGeometry, const QRect &screenGeometry, const QSize &popoverSize)
{
    const QRect screen = screenGeometry;
    const int minX = screen.left() + kMargin;
    const int maxX = screen.right() + 1 - kMargin - popoverSize.width();
    const int minY = screen.top() + kMargin;
    const int maxY = screen.bottom() + 1 - kMargin - popoverSize.height();

    if (!trayGeometry.isValid() || trayGeometry.isEmpty()) {
        const int x = screen.left() + (screen.width() - popoverSize.width()) / 2;
        return {clampInto(x, minX, maxX), minY};
    }

    const int centreX = trayGeometry.left() + trayGeometry.width() / 2;
    const int x = clampInto(centreX - popoverSize.width() / 2, minX, maxX);
    const bool panelAtBottom = trayGeometry.center().y() > screen.center().y();
    const int y = panelAtBottom ? trayGeometry.top() - kGap - popoverSize.height()
                                : trayGeometry.bottom() + 1 + kGap;
    return {x, clampInto(y, minY, maxY)};
}

} // namespace PopoverPlacement
