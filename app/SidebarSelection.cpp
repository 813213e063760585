#include "SidebarSelection.h"

#include "LibraryData.h"

#include <QHashFunctions>

#include <optional>

namespace {

QString kindName(SidebarSelection::Kind kind)
{
    switch (kind) {
    case SidebarSelection::Kind::topic: return QStringLiteral("topic");
    case SidebarSelection::Kind::window: return QStringLiteral("window");
    case SidebarSelection::Kind::all: return QStringLiteral("all");
    case SidebarSelection::Kind::reminders: return QStringLiteral("reminders");
    case SidebarSelection::Kind::notes: return QStringLiteral("notes");
    case SidebarSelection::Kind::hints: return QStringLiteral("hints");
    }
    return {};
}

bool carriesId(SidebarSelection::Kind kind)
{
    return kind == SidebarSelection::Kind::topic || kind == SidebarSelection::Kind::window;
}

} // namespace

QString SidebarSelection::idString() const
{
    return carriesId(kind) ? idText(id) : QString();
}

QString SidebarSelection::key() const
{
    const QString name = kindName(kind);
    return carriesId(kind) ? name + QLatin1Char(':') + idText(id) : name;
}

std::optional<SidebarSelection> SidebarSelection::fromKey(const QString &key)
{
    const qsizetype colon = key.indexOf(QLatin1Char(':'));
    const QString name = colon < 0 ? key : key.left(colon);
    for (Kind kind : {Kind::topic, Kind::window, Kind::all, Kind::reminders, Kind::notes, Kind::hints}) {
        if (kindName(kind) != name)
            continue;
        if (!carriesId(kind))
            return colon < 0 ? std::optional(SidebarSelection{kind, {}}) : std::nullopt;
        const QUuid id(colon < 0 ? QString() : key.mid(colon + 1));
        if (id.isNull())
            return std::nullopt;
        return SidebarSelection{kind, id};
    }
    return std::nullopt;
}

size_t qHash(const SidebarSelection &selection, size_t seed)
{
    return qHashMulti(seed, static_cast<int>(selection.kind), selection.id);
}
