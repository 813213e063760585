#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <thread>

// Runs one operation on a worker thread with a time limit. The result is the
// operation's value, or absent when it failed (returned absent or threw), ran
// past the limit, or the caller's token was stopped. On return the worker's
// token is stopped; a worker still running winds down on its own and its late
// result is dropped, so the caller may go on (and release the gate) at once.
template <typename T>
std::optional<T> withTimeout(std::chrono::milliseconds limit,
                             std::function<std::optional<T>(std::stop_token)> operation,
                             std::stop_token callerStop = {})
{
    struct State
    {
        std::mutex mutex;
        std::condition_variable_any finished;
        bool done = false;
        std::optional<T> value;
        std::stop_source stop;
    };
    auto state = std::make_shared<State>();
    if (limit.count() < 0)
        limit = std::chrono::milliseconds(0);

    std::thread([state, op = std::move(operation)] {
        std::optional<T> value;
        try {
            value = op(state->stop.get_token());
        } catch (...) {
            value.reset();
        }
        std::lock_guard lock(state->mutex);
        if (!state->stop.stop_requested())
            state->value = std::move(value);
        state->done = true;
        state->finished.notify_all();
    }).detach();

    std::unique_lock lock(state->mutex);
    const bool done = state->finished.wait_for(lock, callerStop, limit, [&] { return state->done; });
    state->stop.request_stop();
    if (!done)
        return std::nullopt;
    return std::move(state->value);
}
