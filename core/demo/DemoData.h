#pragma once

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

#include "LibraryData.h"
#include "SafariWindow.h"

// A fixed sample of 52 English browser tabs in three windows, so the whole
// application can be shown without a browser or the user's own tabs.
namespace DemoData {

enum class Key { trip, office, swift, camera, finance, none };

struct Entry
{
    int window = 0;
    Key key = Key::none;
    QString url;
    QString title;
    QString summary;
    QStringList tags;
    QString note;
    std::optional<int> reminderInDays;
    QStringList projects;
    bool read = false;

    friend bool operator==(const Entry &, const Entry &) = default;
};

QString keyName(Key key);
const QList<Entry> &entries();
QString topicText(Key key);
QString contextFreeText();
double windowAgeDays(int window);

LibraryData library(const QDateTime &now);
QList<SafariWindow> safariSnapshot();
std::optional<QString> textFor(const QString &url);
// Whether the library holds a tab that is not one of the sample's: then it
// is the user's own and must not be replaced without asking.
bool holdsOwnTabs(const LibraryData &data);

} // namespace DemoData
