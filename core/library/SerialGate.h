#pragma once

#include <QtGlobal>

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <utility>

// A first-come, first-served mutex for requests to an outside service (the
// model server, the connected browsers). A release hands the
// gate straight to the longest waiting caller, so no newcomer can overtake it.
// Every caller that acquired must release exactly once.
class SerialGate
{
public:
    SerialGate() = default;
    SerialGate(const SerialGate &) = delete;
    SerialGate &operator=(const SerialGate &) = delete;

    void acquire();
    void release();

    // Runs the operation while holding the gate; exceptions pass through.
    template <typename F>
    auto run(F &&operation) -> decltype(operation())
    {
        acquire();
        struct Releaser
        {
            SerialGate *gate;
            ~Releaser() { gate->release(); }
        } releaser{this};
        return std::forward<F>(operation)();
    }

    bool isBusy() const;
    qsizetype waitingCount() const;

private:
    struct Waiter
    {
        bool granted = false;
    };

    mutable std::mutex m_mutex;
    std::condition_variable m_handOver;
    bool m_busy = false;
    std::deque<std::shared_ptr<Waiter>> m_waiters;
};
