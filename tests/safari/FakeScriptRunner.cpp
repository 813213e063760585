#include "FakeScriptRunner.h"

#include <QMutexLocker>

void FakeScriptRunner::enqueue(Outcome outcome)
{
    QMutexLocker lock(&m_mutex);
    m_answers.append(std::move(outcome));
}

void FakeScriptRunner::setRunning(bool running)
{
    QMutexLocker lock(&m_mutex);
    m_running = running;
}

QStringList FakeScriptRunner::scripts() const
{
    QMutexLocker lock(&m_mutex);
    return m_scripts;
}

ScriptRunner::Outcome FakeScriptRunner::run(const QString &source)
{
    QMutexLocker lock(&m_mutex);
    m_scripts.append(source);
    if (m_answers.isEmpty())
        return ScriptValue();
    return m_answers.takeFirst();
}

bool FakeScriptRunner::isRunning(const QString &bundleId) const
{
    QMutexLocker lock(&m_mutex);
    return m_running && bundleId == QLatin1String("com.apple.Safari");
}
