#pragma once

#include <QObject>
#include <QString>
#include <QVariant>
#include <QtQml/qqml.h>

#include <optional>

#include "SleepStage.h"

// The popover's counted texts and the counts it shows, apart from the view
// so the numbers and singular forms can be checked without QML.
class PopoverText : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    using QObject::QObject;

    // The stages the view tells apart, as AppModel.sleepStageKind gives them.
    enum Stage {
        StageIdle = int(SleepStage::Kind::idle),
        StageDone = int(SleepStage::Kind::done),
        StageFailed = int(SleepStage::Kind::failed),
    };
    Q_ENUM(Stage)

    // Tabs from this many on get the memory warning.
    static constexpr int kMemoryWarningTabs = 50;

    struct Counts
    {
        int tabs = 0;
        int windows = 0;
        friend bool operator==(const Counts &, const Counts &) = default;
    };

    // The fixed preview counts if given; else the sample snapshot's counts in
    // demo mode without a connected browser; else the live counts when both
    // are known.
    static std::optional<Counts> counts(std::optional<Counts> preview, bool demoMode, bool connected,
                                        std::optional<int> liveTabs, std::optional<int> liveWindows);
    // The same for QML: preview is null or {tabs, windows}, the live counts
    // null or a number; the answer is null or {tabs, windows}.
    Q_INVOKABLE static QVariant countsFor(const QVariant &preview, bool demoMode, bool connected,
                                          const QVariant &liveTabs, const QVariant &liveWindows);

    // 7.5 MB per tab: "90 MB", "997 MB", "1,0 GB".
    Q_INVOKABLE static QString memoryEstimate(int tabs);
    // "12 Tabs in 3 Fenstern", "1 Tab in 1 Fenster".
    Q_INVOKABLE static QString countLine(int tabs, int windows);
    // The red warning under the count; empty below the threshold.
    Q_INVOKABLE static QString memoryLine(int tabs);
    // "Gruppen wie meine Fenster (3 Gruppen)"; windows null when not counted.
    Q_INVOKABLE static QString groupOption(const QVariant &windows);
    Q_INVOKABLE static QString topicOption(bool aiAvailable);
    // "⏰  2 Erinnerungen heute · 💡  1 neuer Hinweis zu deinen Projekten"
    Q_INVOKABLE static QString footerLine(int remindersToday, int openHints);
};
