#pragma once

#include <QSize>
#include <QString>

// One of the application's windows: what it shows and how it may be sized.
// An empty size means the window takes its view's implicit size and cannot
// be resized.
struct WindowSetup
{
    QString key;
    QString title;
    QString view; // QML file under views/
    QSize size;
    QSize minimumSize;
    QString frameName;

    bool sizedByContent() const { return size.isEmpty(); }

    friend bool operator==(const WindowSetup &, const WindowSetup &) = default;
};
