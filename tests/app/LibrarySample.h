#pragma once

#include "AppModelFixture.h"

#include <QString>
#include <QUuid>

class QQuickItem;
class ViewHarness;

// A sample library with fixed ids for the library window's tests, so data
// tables can name topics, windows and tabs.
namespace LibrarySample {

QUuid id(int n);
QString topicKey(int n);
QString windowKey(int n);

// Two windows (three tabs, then two), topics "Rust" (one window),
// "Reisen" (two windows) and the unsorted one; notes, reminders (one due),
// a read tab, an open hint, tags and a summary. Tabs are id(1)…id(5).
void fill(AppModelFixture &fixture);

// Loads LibraryView.qml at a window's size over the fixture's model, then
// shows the given selection (a key) if any.
bool load(ViewHarness &harness, AppModel &model, const QString &selection = {});

// The row showing the tab, if it is among the list's visible rows.
QQuickItem *rowFor(const ViewHarness &harness, const QUuid &tabId);

} // namespace LibrarySample
