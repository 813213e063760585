#pragma once
#include <QObject>

class TestMCPServer : public QObject
{
    Q_OBJECT
private slots:
    void protocol_data();
    void protocol();
    void toolsListInOrder();
    void toolFailures_data();
    void toolFailures();
    void getTabByLowerCaseId();
    void addNoteWritesFileAndDropsVector_data();
    void addNoteWritesFileAndDropsVector();
    void setReminderInUtc();
    void recentTabs_data();
    void recentTabs();
    void searchLimits_data();
    void searchLimits();
    void prettyToolTextAndCompactEnvelope();
    void configSnippet();
};
