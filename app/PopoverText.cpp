#include "PopoverText.h"

#include <QVariantMap>

#include "DemoData.h"
#include "Fmt.h"
#include "PlatformWords.h"
#include "SafariWindow.h"

namespace {

std::optional<int> intOf(const QVariant &value)
{
    if (!value.isValid() || value.isNull())
        return std::nullopt;
    bool ok = false;
    const int number = value.toInt(&ok);
    return ok ? std::optional<int>(number) : std::nullopt;
}

QString counted(int count, const QString &one, const QString &many)
{
    return Fmt::number(count) + u' ' + (count == 1 ? one : many);
}

} // namespace

std::optional<PopoverText::Counts> PopoverText::counts(std::optional<Counts> preview, bool demoMode,
                                                       bool connected, std::optional<int> liveTabs,
                                                       std::optional<int> liveWindows)
{
    if (preview)
        return preview;
    if (demoMode && !connected) {
        static const Counts demo = [] {
            const QList<SafariWindow> windows = DemoData::safariSnapshot();
            Counts c;
            c.windows = int(windows.size());
            for (const SafariWindow &w : windows)
                c.tabs += int(w.tabs.size());
            return c;
        }();
        return demo;
    }
    if (liveTabs && liveWindows)
        return Counts{*liveTabs, *liveWindows};
    return std::nullopt;
}

QVariant PopoverText::countsFor(const QVariant &preview, bool demoMode, bool connected,
                                const QVariant &liveTabs, const QVariant &liveWindows)
{
    std::optional<Counts> fixed;
    const QVariantMap map = preview.toMap();
    const auto previewTabs = intOf(map.value(QStringLiteral("tabs")));
    const auto previewWindows = intOf(map.value(QStringLiteral("windows")));
    if (previewTabs && previewWindows)
        fixed = Counts{*previewTabs, *previewWindows};
    const auto result = counts(fixed, demoMode, connected, intOf(liveTabs), intOf(liveWindows));
    if (!result)
        return {};
    return QVariantMap{{QStringLiteral("tabs"), result->tabs}, {QStringLiteral("windows"), result->windows}};
}

QString PopoverText::memoryEstimate(int tabs)
{
    // In tenths of a megabyte, so the thresholds and the rounding are exact.
    const qint64 tenthsMB = qint64(std::max(tabs, 0)) * 75;
    if (tenthsMB < 10000)
        return QString::number(tenthsMB / 10) + QStringLiteral(" MB");
    // Tenths of a gigabyte, half up.
    const qint64 tenthsGB = (tenthsMB + 500) / 1000;
    return Fmt::number(tenthsGB / 10) + u',' + QString::number(tenthsGB % 10) + QStringLiteral(" GB");
}

QString PopoverText::countLine(int tabs, int windows)
{
    return counted(tabs, QStringLiteral("Tab"), QStringLiteral("Tabs")) + QStringLiteral(" in ")
        + counted(windows, QStringLiteral("Fenster"), QStringLiteral("Fenstern"));
}

QString PopoverText::memoryLine(int tabs)
{
    if (tabs < kMemoryWarningTabs)
        return {};
    return QStringLiteral("Belegen geschätzt ") + memoryEstimate(tabs)
        + QStringLiteral(" Arbeitsspeicher und sind der grösste Akku-Verbraucher.");
}

QString PopoverText::groupOption(const QVariant &windows)
{
    const QString title = QStringLiteral("Gruppen wie meine Fenster");
    const auto count = intOf(windows);
    if (!count)
        return title;
    return title + QStringLiteral(" (") + counted(*count, QStringLiteral("Gruppe"), QStringLiteral("Gruppen"))
        + u')';
}

QString PopoverText::topicOption(bool aiAvailable)
{
    return QStringLiteral("Zusätzlich nach Thema sortieren (")
        + PlatformWords::topicSource(aiAvailable) + u')';
}

QString PopoverText::footerLine(int remindersToday, int openHints)
{
    return QStringLiteral("⏰  ") + QString::number(remindersToday) + u' '
        + (remindersToday == 1 ? QStringLiteral("Erinnerung") : QStringLiteral("Erinnerungen"))
        + QStringLiteral(" heute · 💡  ") + QString::number(openHints) + u' '
        + (openHints == 1 ? QStringLiteral("neuer Hinweis") : QStringLiteral("neue Hinweise"))
        + QStringLiteral(" zu deinen Projekten");
}
