#pragma once

#include <QMutex>
#include <QStringList>

#include "ScriptRunner.h"

// Records every script it is given and answers from a queue the test fills;
// with the queue empty it answers with a missing value.
class FakeScriptRunner final : public ScriptRunner
{
public:
    void enqueue(Outcome outcome);
    void setRunning(bool running);
    QStringList scripts() const;

    Outcome run(const QString &source) override;
    bool isRunning(const QString &bundleId) const override;

private:
    mutable QMutex m_mutex;
    QList<Outcome> m_answers;
    QStringList m_scripts;
    bool m_running = true;
};
