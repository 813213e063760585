#pragma once

#include <QString>
#include <QVariant>

#include <functional>

#include "Result.h"
#include "SelfTestRequest.h"

class QSettings;

// What the two self-test modes share: the platform choice made before the
// application object exists, a sandbox folder, a wait that keeps the event
// loop running, and one setting remembered exactly.
namespace SelfTestSupport {

// The device pixel ratio of the screenshots, so that they stay sharp.
constexpr int kShotScale = 2;

// Must run before QApplication is constructed: without any display the
// offscreen platform is chosen (an explicit QT_QPA_PLATFORM wins), and the
// screenshot mode renders at kShotScale.
void preparePlatform(const SelfTestRequest &request);

// A fresh folder in the temporary folder named prefix plus a new UUID.
Result<QString> makeSandbox(const QString &prefix);

// Runs the event loop in 50 ms steps while `condition` holds, at most
// `limitMs`. True when the condition ended in time.
bool waitWhile(const std::function<bool()> &condition, int limitMs);

// Writes "[tag] text" and a line break to standard output, as UTF-8, at once.
void printLine(const QString &tag, const QString &text);

// A setting as it was: present or absent, and its value.
struct StoredSetting
{
    QString key;
    bool present = false;
    QVariant value;

    static StoredSetting remember(const QSettings &settings, const QString &key);
    // Sets the value back, or removes the key when it was absent.
    void restore(QSettings &settings) const;

    friend bool operator==(const StoredSetting &, const StoredSetting &) = default;
};

} // namespace SelfTestSupport
