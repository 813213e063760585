#include "SelfTestSupport.h"

#include <cstdio>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QQuickWindow>
#include <QSettings>
#include <QThread>
#include <QUuid>

namespace SelfTestSupport {

void preparePlatform(const SelfTestRequest &request)
{
    if (!request.any())
        return;
    const bool display = !qEnvironmentVariableIsEmpty("DISPLAY")
        || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
    if (!display && !qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    // The software renderer needs no graphics driver and renders a window
    // that is never shown.
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    // High-resolution text and lines come from rendering at twice the size,
    // not from scaling a finished picture up.
    if (request.snapshot && !qEnvironmentVariableIsSet("QT_SCALE_FACTOR"))
        qputenv("QT_SCALE_FACTOR", QByteArray::number(kShotScale));
}

Result<QString> makeSandbox(const QString &prefix)
{
    const QString path = QDir(QDir::tempPath())
                             .filePath(prefix + QUuid::createUuid().toString(QUuid::WithoutBraces));
    if (!QDir().mkpath(path))
        return Result<QString>::failure(QStringLiteral("Ordner nicht angelegt: ") + path);
    return path;
}

bool waitWhile(const std::function<bool()> &condition, int limitMs)
{
    const QDeadlineTimer deadline(limitMs);
    while (condition()) {
        if (deadline.hasExpired())
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
        // processEvents returns at once when nothing is queued; the worker
        // threads need the time more than this loop does.
        QThread::msleep(5);
    }
    return true;
}

void printLine(const QString &tag, const QString &text)
{
    const QByteArray line = (QLatin1Char('[') + tag + QStringLiteral("] ") + text + QLatin1Char('\n')).toUtf8();
    std::fwrite(line.constData(), 1, static_cast<size_t>(line.size()), stdout);
    std::fflush(stdout);
}

StoredSetting StoredSetting::remember(const QSettings &settings, const QString &key)
{
    StoredSetting stored;
    stored.key = key;
    stored.present = settings.contains(key);
    if (stored.present)
        stored.value = settings.value(key);
    return stored;
}

void StoredSetting::restore(QSettings &settings) const
{
    if (present)
        settings.setValue(key, value);
    else
        settings.remove(key);
    settings.sync();
}

} // namespace SelfTestSupport
