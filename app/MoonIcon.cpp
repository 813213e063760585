#include "MoonIcon.h"

#include <QFont>
#include <QPainter>
#include <QPainterPath>

namespace {

constexpr int kSizes[] = {16, 22, 24, 32, 48, 64, 128};

QPainterPath crescent(qreal size)
{
    const qreal m = size * 0.08;
    const QRectF disc(m, m, size - 2 * m, size - 2 * m);
    QPainterPath moon;
    moon.addEllipse(disc);
    // The bite is a disc of the same size shifted up and right.
    QPainterPath bite;
    bite.addEllipse(disc.translated(disc.width() * 0.38, -disc.height() * 0.22));
    return moon.subtracted(bite);
}

} // namespace

namespace MoonIcon {

QImage render(int size)
{
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    const QPainterPath path = crescent(size);
    p.setPen(QPen(QColor(29, 29, 31), std::max(1.6, size / 14.0), Qt::SolidLine, Qt::RoundCap,
                  Qt::RoundJoin));
    p.setBrush(QColor(250, 236, 180));
    p.drawPath(path);
    return image;
}

QString badgeText(int count)
{
    if (count <= 0)
        return {};
    return count > 99 ? QStringLiteral("99+") : QString::number(count);
}

QImage renderWithBadge(int size, int count)
{
    QImage image = render(size);
    const QString text = badgeText(count);
    if (text.isEmpty())
        return image;
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    p.setRenderHint(QPainter::TextAntialiasing);
    const qreal h = size * 0.56;
    const qreal w = std::max(h, h * (0.45 + 0.35 * text.size()));
    const QRectF badge(size - w, size - h, w, h);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(176, 48, 26));
    p.drawRoundedRect(badge, h / 2, h / 2);
    QFont font;
    font.setBold(true);
    font.setPixelSize(std::max(6, int(h * 0.72)));
    p.setFont(font);
    p.setPen(Qt::white);
    p.drawText(badge, Qt::AlignCenter, text);
    return image;
}

QIcon icon(int badgeCount)
{
    QIcon result;
    for (const int size : kSizes)
        result.addPixmap(QPixmap::fromImage(renderWithBadge(size, badgeCount)));
    return result;
}

} // namespace MoonIcon
