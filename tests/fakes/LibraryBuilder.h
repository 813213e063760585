#pragma once

#include "LibraryData.h"

#include <QDateTime>
#include <QString>
#include <QStringList>
#include <QUuid>

#include <initializer_list>

// Builds a library in one expression:
//
//   LibraryBuilder()
//       .window().tab("Ownership", "https://doc.rust-lang.org/book").note("Kapitel 4")
//       .tab("Fahrplan").reminder(LibraryBuilder::now().addDays(1))
//       .topic("Rust", {1}).unsorted()
//       .build();
//
// Ids are fixed so that tables can name them: tab n (1-based, in the order
// added) is tabId(n), window n windowId(n), topic n topicId(n).
class LibraryBuilder
{
public:
    // The moment the tabs are saved at unless told otherwise; a fixed one, so
    // dates in expectations do not depend on the day the tests run.
    static QDateTime now();
    static QUuid id(int n);
    static QUuid tabId(int n) { return id(n); }
    static QUuid topicId(int n) { return id(100 + n); }
    static QUuid windowId(int n) { return id(200 + n); }

    explicit LibraryBuilder(QDateTime savedAt = now());

    // Starts a window; the tabs added next go into it. A tab added before any
    // window opens window 1.
    LibraryBuilder &window();
    // A tab in the current window; without an address, one made from the title.
    LibraryBuilder &tab(const QString &title, const QString &url = {});
    // `count` tabs titled "Tab 1", "Tab 2", … in the current window.
    LibraryBuilder &tabs(int count);

    // These change the tab added last.
    LibraryBuilder &savedAt(const QDateTime &at);
    LibraryBuilder &text(const QString &text);
    LibraryBuilder &summary(const QString &summary);
    LibraryBuilder &tags(const QStringList &tags);
    LibraryBuilder &note(const QString &note);
    LibraryBuilder &reminder(const QDateTime &at);
    LibraryBuilder &projects(const QStringList &projectTags);
    LibraryBuilder &read(const QDateTime &at = now());
    LibraryBuilder &demo();
    LibraryBuilder &vector(const Vector &vector);

    // A named topic holding the tabs with these numbers.
    LibraryBuilder &topic(const QString &name, std::initializer_list<int> tabNumbers);
    // The unsorted topic, holding every tab no other topic holds.
    LibraryBuilder &unsorted(const QString &name = QStringLiteral("Sonstiges"));
    LibraryBuilder &hint(int tabNumber, const QString &text, bool dismissed = false);
    LibraryBuilder &embedderKind(const QString &kind);

    LibraryData build() const;
    operator LibraryData() const { return build(); }

private:
    SavedTab &last();

    QDateTime m_savedAt;
    LibraryData m_data;
    bool m_unsorted = false;
    QString m_unsortedName;
};
