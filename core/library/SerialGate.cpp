#include "SerialGate.h"

void SerialGate::acquire()
{
    std::unique_lock lock(m_mutex);
    if (!m_busy) {
        m_busy = true;
        return;
    }
    auto waiter = std::make_shared<Waiter>();
    m_waiters.push_back(waiter);
    m_handOver.wait(lock, [&] { return waiter->granted; });
}

void SerialGate::release()
{
    std::lock_guard lock(m_mutex);
    Q_ASSERT(m_busy);
    if (m_waiters.empty()) {
        m_busy = false;
        return;
    }
    // The gate stays busy: it passes directly to the first waiter.
    m_waiters.front()->granted = true;
    m_waiters.pop_front();
    m_handOver.notify_all();
}

bool SerialGate::isBusy() const
{
    std::lock_guard lock(m_mutex);
    return m_busy;
}

qsizetype SerialGate::waitingCount() const
{
    std::lock_guard lock(m_mutex);
    return qsizetype(m_waiters.size());
}
