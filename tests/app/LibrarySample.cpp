#include "LibrarySample.h"

#include "ViewHarness.h"

#include <QQuickItem>

namespace LibrarySample {

QUuid id(int n)
{
    return QUuid(QStringLiteral("{00000000-0000-4000-8000-%1}").arg(n, 12, 10, QLatin1Char('0')));
}

QString topicKey(int n)
{
    return QStringLiteral("topic:") + idText(id(100 + n));
}

QString windowKey(int n)
{
    return QStringLiteral("window:") + idText(id(200 + n));
}

void fill(AppModelFixture &fixture)
{
    const QDateTime now = fixture.clock().now();
    LibraryData data;
    auto make = [&](int n, const QString &title, const QString &url, int window, int days) {
        SavedTab tab = AppModelFixture::tab(title, now.addDays(-days), n, url);
        tab.id = id(n);
        tab.windowId = id(200 + window);
        return tab;
    };
    SavedTab a = make(1, QStringLiteral("Ownership erklärt"), QStringLiteral("https://doc.rust-lang.org/book"), 1, 3);
    a.note = QStringLiteral("Kapitel 4 nochmals lesen");
    a.reminderAt = now.addSecs(-3600);
    SavedTab b = make(2, QStringLiteral("Cargo Workspaces"), QStringLiteral("https://doc.rust-lang.org/cargo"), 1, 3);
    b.reminderAt = now.addDays(2);
    SavedTab c = make(3, QStringLiteral("Zugfahrplan Chur"), QStringLiteral("https://www.sbb.ch/fahrplan"), 1, 3);
    c.readAt = now.addDays(-1);
    SavedTab d = make(4, QStringLiteral("Wandern im Engadin"), QStringLiteral("https://www.engadin.ch/wandern"), 2, 1);
    SavedTab e = make(5, QStringLiteral("Rezept Capuns"), QStringLiteral("https://www.swissmilk.ch/capuns"), 2, 1);
    e.summary = QStringLiteral("Ein Bündner Gericht aus Mangoldblättern.");
    e.tags = {QStringLiteral("kochen"), QStringLiteral("graubünden")};
    data.tabs = {a, b, c, d, e};

    SavedWindow w1{id(201), now.addDays(-3), QStringLiteral("Fenster 1 · 13.11."), {a.id, b.id, c.id}};
    SavedWindow w2{id(202), now.addDays(-1), QStringLiteral("Fenster 2 · 15.11."), {d.id, e.id}};
    data.windows = {w1, w2};

    Topic rust{id(101), QStringLiteral("Rust"), QStringLiteral("blau"), {a.id, b.id}, false};
    Topic travel{id(102), QStringLiteral("Reisen"), QStringLiteral("gruen"), {c.id, d.id}, false};
    Topic rest{id(103), QStringLiteral("Sonstiges"), QStringLiteral("grau"), {e.id}, true};
    data.topics = {rust, travel, rest};
    for (const Topic &topic : std::as_const(data.topics)) {
        for (const QUuid &tabId : topic.tabIds) {
            for (SavedTab &tab : data.tabs) {
                if (tab.id == tabId)
                    tab.topicId = topic.id;
            }
        }
    }
    data.hints = {Hint{id(301), d.id, QStringLiteral("Passt zu «Ferien 2027»: Wanderungen"), now, false}};
    fixture.library().replace(data);
}

bool load(ViewHarness &harness, AppModel &model, const QString &selection)
{
    harness.waitForModelAfterInput(true);
    if (!harness.load(QStringLiteral("LibraryView.qml"), nullptr, {}, QSize(1180, 720)))
        return false;
    if (!selection.isEmpty())
        model.setSelectionKey(selection);
    harness.settle();
    return true;
}

QQuickItem *rowFor(const ViewHarness &harness, const QUuid &tabId)
{
    auto *list = qobject_cast<QQuickItem *>(harness.find(QStringLiteral("tabList")));
    auto *content = list ? list->property("contentItem").value<QQuickItem *>() : nullptr;
    if (!content)
        return nullptr;
    // Pooled delegates stay around hidden; only a shown one counts.
    for (QQuickItem *child : content->childItems()) {
        if (child->isVisible() && child->property("tabId").toString() == idText(tabId))
            return child;
    }
    return nullptr;
}

} // namespace LibrarySample
