#pragma once

#include <QImage>
#include <QSize>
#include <QString>
#include <QVariantMap>

#include <memory>

class QQmlEngine;
class QQuickView;

// Builds a view of the QML module in a window that is never shown, and
// renders it into a picture. The self-test modes use it, so that nothing
// appears on the screen however the session looks.
class ViewShot
{
public:
    static constexpr int kFitRounds = 4;

    // The engine is not owned and must outlive every view built here.
    explicit ViewShot(QQmlEngine *engine);

    // Loads `fileName` (a file under views/) with the given initial
    // properties. The view gets `points` as its size, or its own implicit
    // size where `points` is empty (a width of 0 keeps `fallbackWidth`).
    // Null, with the reason in `error`, when the view does not load.
    std::unique_ptr<QQuickView> build(const QString &fileName, QSize points, QString *error,
                                      const QVariantMap &initialProperties = {},
                                      int fallbackWidth = 420) const;

    // Lays the view out and renders one frame; the picture carries the
    // window's device pixel ratio. Null when rendering failed.
    static QImage render(QQuickView &view);

    // Writes `image` as PNG at exactly `points` times `scale` pixels (a
    // screen of another ratio is evened out by a smooth rescale).
    static bool writePng(const QImage &image, QSize points, int scale, const QString &path);

    // Distinct colours over every pixel, counted up to `limit`: a blank
    // frame has one, a line of text already dozens.
    static int distinctColours(const QImage &image, int limit = 256);

private:
    QQmlEngine *m_engine;
};
