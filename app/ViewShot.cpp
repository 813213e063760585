#include "ViewShot.h"

#include <QGuiApplication>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QSet>
#include <QtMath>

#include "QmlModule.h"

ViewShot::ViewShot(QQmlEngine *engine) : m_engine(engine)
{
    Q_ASSERT(engine);
}

std::unique_ptr<QQuickView> ViewShot::build(const QString &fileName, QSize points, QString *error,
                                            const QVariantMap &initialProperties,
                                            int fallbackWidth) const
{
    auto view = std::make_unique<QQuickView>(m_engine, nullptr);
    view->setColor(Qt::white);
    view->setResizeMode(QQuickView::SizeRootObjectToView);
    if (!initialProperties.isEmpty())
        view->setInitialProperties(initialProperties);
    view->setSource(QmlModule::viewUrl(fileName));
    QQuickItem *root = view->rootObject();
    if (view->status() != QQuickView::Ready || !root) {
        if (error) {
            QStringList lines;
            for (const QQmlError &e : view->errors())
                lines.append(e.toString());
            *error = fileName + QStringLiteral(": ")
                + (lines.isEmpty() ? QStringLiteral("kein Inhalt") : lines.join(QLatin1Char('\n')));
        }
        return nullptr;
    }
    if (!points.isEmpty()) {
        view->resize(points);
        root->setSize(points);
        return view;
    }
    // Layouts give their implicit sizes only once polished, and text that
    // wraps at the new width changes them again: fit until the size holds.
    const auto fitting = [root, fallbackWidth] {
        const int width = qCeil(root->implicitWidth());
        return QSize(width > 0 ? width : fallbackWidth, std::max(1, qCeil(root->implicitHeight())));
    };
    for (int round = 0; round < kFitRounds; ++round) {
        points = fitting();
        view->resize(points);
        root->setSize(points);
        view->grabWindow();
        if (fitting() == points)
            break;
    }
    return view;
}

QImage ViewShot::render(QQuickView &view)
{
    // Polishing happens as part of the frame, so one grab lays the view out
    // as well; a second one takes what the first layout changed.
    view.grabWindow();
    return view.grabWindow();
}

bool ViewShot::writePng(const QImage &image, QSize points, int scale, const QString &path)
{
    if (image.isNull())
        return false;
    const QSize pixels = points * scale;
    QImage out = image.size() == pixels
        ? image
        : image.scaled(pixels, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    out.setDevicePixelRatio(scale);
    // 72 points to the inch at the given scale, so viewers show it at its size.
    const int dotsPerMeter = qRound(72.0 * scale / 0.0254);
    out.setDotsPerMeterX(dotsPerMeter);
    out.setDotsPerMeterY(dotsPerMeter);
    return out.save(path, "PNG");
}

int ViewShot::distinctColours(const QImage &image, int limit)
{
    const QImage pixels = image.convertToFormat(QImage::Format_ARGB32);
    QSet<QRgb> colours;
    for (int y = 0; y < pixels.height(); ++y) {
        const auto *line = reinterpret_cast<const QRgb *>(pixels.constScanLine(y));
        for (int x = 0; x < pixels.width(); ++x) {
            colours.insert(line[x]);
            if (colours.size() >= limit)
                return limit;
        }
    }
    return static_cast<int>(colours.size());
}
