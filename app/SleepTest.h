#pragma once

#include <QString>
#include <QStringList>

// "--sleeptest": a whole sleep run over the demo snapshot in a sandbox, one
// chat question and every window's view built once, each reported by a line
// "[sleeptest] … → OK" or "→ FAIL" on standard output.
namespace SleepTest {

inline constexpr int kRunLimitMs = 90000;
inline constexpr int kChatLimitMs = 60000;
inline constexpr int kDemoTabs = 52;
inline constexpr int kViewWidth = 1100;
inline constexpr int kViewHeight = 700;

QString question();
// The views built in step three: every window's and the popover's.
QStringList viewFiles();

// Runs the self-test and gives the process's exit status: 0 when the run,
// the chat and the views passed, else 1. Leaves the user's "demoMode"
// setting exactly as it found it.
int run();

} // namespace SleepTest
