#pragma once
#include <QObject>

class TestJsonText : public QObject
{
    Q_OBJECT
private slots:
    void writes_data();
    void writes();
    void nonFiniteCannotBeWritten();
};
