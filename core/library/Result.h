#pragma once

#include <QString>

#include <optional>
#include <utility>

// The outcome of something that can fail in the outside world: a value or a
// short German message for the user.
template <typename T>
class Result
{
public:
    Result(T value) : m_value(std::move(value)) {}
    static Result failure(QString message)
    {
        Result r;
        r.m_error = std::move(message);
        return r;
    }

    bool ok() const { return m_value.has_value(); }
    explicit operator bool() const { return ok(); }
    const T &value() const & { return *m_value; }
    T &&value() && { return std::move(*m_value); }
    const T &operator*() const & { return *m_value; }
    const T *operator->() const { return &*m_value; }
    const QString &error() const { return m_error; }

private:
    Result() = default;
    std::optional<T> m_value;
    QString m_error;
};

// For operations that return nothing on success.
struct Done
{
    friend bool operator==(Done, Done) = default;
};
using Status = Result<Done>;
