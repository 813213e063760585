#pragma once
#include <QObject>

class TestToolCommands : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void commands_data();
    void commands();
    void usageErrorsLeaveFileAlone_data();
    void usageErrorsLeaveFileAlone();
    void noteAndRemindWrite();
    void hintsRecordTheDayAndContextListsProjects();
    void mcpOverPipes();
};
