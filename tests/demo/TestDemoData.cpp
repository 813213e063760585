#include "DemoData.h"
#include "LibraryBuilder.h"
#include "TestRegistry.h"

#include <QSet>

// The sample library stands in for the user's own: it must hold together
// as a library, and be told apart from the user's tabs, which are kept
// aside before the sample replaces them.
class TestDemoData : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyTabOnceInOneWindow()
    {
        const LibraryData data = DemoData::library(LibraryBuilder::now());
        QSet<QUuid> ids;
        QSet<QString> urls;
        for (const SavedTab &tab : data.tabs) {
            ids.insert(tab.id);
            urls.insert(tab.url);
            QVERIFY(tab.isDemo);
            QVERIFY2(data.windowOf(tab) && data.windowOf(tab)->tabIds.count(tab.id) == 1, qPrintable(tab.url));
        }
        qsizetype listed = 0;
        for (const SavedWindow &window : data.windows) {
            ids.insert(window.id);
            listed += window.tabIds.size();
        }
        QCOMPARE(ids.size(), data.tabs.size() + data.windows.size());
        QCOMPARE(urls.size(), data.tabs.size());
        QCOMPARE(listed, data.tabs.size());
        // A demo sleep run saves the same addresses as the sample library holds.
        QSet<QString> snapshot;
        for (const SafariWindow &window : DemoData::safariSnapshot())
            for (const SafariTab &tab : window.tabs)
                snapshot.insert(tab.url);
        QCOMPARE(snapshot, urls);
    }

    void ownTabsAreToldApart()
    {
        LibraryData data = DemoData::library(LibraryBuilder::now());
        QVERIFY(!DemoData::holdsOwnTabs(data));
        QVERIFY(!DemoData::holdsOwnTabs(LibraryData{}));
        data.tabs.append(LibraryBuilder().tab(QStringLiteral("Eigenes"), QStringLiteral("https://eigen.ch/")).build().tabs);
        QVERIFY(DemoData::holdsOwnTabs(data));
    }
};

PELLMORA_TEST_GUILESS_MAIN(TestDemoData)
#include "TestDemoData.moc"
