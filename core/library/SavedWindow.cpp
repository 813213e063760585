#include "SavedWindow.h"

#include "Fmt.h"

QString SavedWindow::makeTitle(qint64 index, const QDateTime &date)
{
    return QStringLiteral("Fenster %1 · %2").arg(index).arg(Fmt::dayMonthTime(date));
}
