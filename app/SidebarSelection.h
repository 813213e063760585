#pragma once

#include <QMetaType>
#include <QObject>
#include <QString>
#include <QUuid>

#include <optional>

// What the library window lists: one topic, one saved window, or one of the
// fixed collections. Compared by case and payload; the id is null for the
// fixed collections.
struct SidebarSelection
{
    Q_GADGET
    Q_PROPERTY(Kind kind MEMBER kind)
    Q_PROPERTY(QString id READ idString)

public:
    enum class Kind { topic, window, all, reminders, notes, hints };
    Q_ENUM(Kind)

    Kind kind = Kind::all;
    QUuid id;

    static SidebarSelection topic(const QUuid &id) { return {Kind::topic, id}; }
    static SidebarSelection window(const QUuid &id) { return {Kind::window, id}; }
    static SidebarSelection all() { return {Kind::all, {}}; }
    static SidebarSelection reminders() { return {Kind::reminders, {}}; }
    static SidebarSelection notes() { return {Kind::notes, {}}; }
    static SidebarSelection hints() { return {Kind::hints, {}}; }

    // The id in the library's text form; empty for the fixed collections.
    QString idString() const;
    // "topic:<id>", "window:<id>", "all", … — a stable key for views and tests.
    QString key() const;
    // Reads key(); a malformed key gives nothing.
    static std::optional<SidebarSelection> fromKey(const QString &key);

    friend bool operator==(const SidebarSelection &, const SidebarSelection &) = default;
};

size_t qHash(const SidebarSelection &selection, size_t seed = 0);

Q_DECLARE_METATYPE(SidebarSelection)
