#pragma once

#include <QString>

#include <optional>
#include <utility>

#include "Result.h"

// Why talking to the browser failed, with a description for the user.
struct SafariError
{
    enum class Kind { ScriptFailed, NotRunning, PermissionDenied };

    Kind kind = Kind::ScriptFailed;
    int code = 0;    // only for ScriptFailed
    QString message; // only for ScriptFailed

    static SafariError scriptFailed(int code, QString message);
    static SafariError notRunning();
    static SafariError permissionDenied();

    QString errorDescription() const;

    friend bool operator==(const SafariError &, const SafariError &) = default;
};

// A browser answer or the reason there is none.
template <typename T>
class SafariResult
{
public:
    SafariResult(T value) : m_value(std::move(value)) {}
    SafariResult(SafariError error) : m_error(std::move(error)) {}

    bool ok() const { return m_value.has_value(); }
    explicit operator bool() const { return ok(); }
    const T &value() const & { return *m_value; }
    T &&value() && { return std::move(*m_value); }
    const T &operator*() const & { return *m_value; }
    const T *operator->() const { return &*m_value; }
    const SafariError &error() const { return m_error; }

    // For callers that only show the message.
    Result<T> toResult() const
    {
        if (ok())
            return *m_value;
        return Result<T>::failure(m_error.errorDescription());
    }

private:
    std::optional<T> m_value;
    SafariError m_error;
};

using SafariStatus = SafariResult<Done>;
