#include "SafariError.h"
#include "PlatformWords.h"

SafariError SafariError::scriptFailed(int code, QString message)
{
    return {Kind::ScriptFailed, code, std::move(message)};
}

SafariError SafariError::notRunning()
{
    return {Kind::NotRunning, 0, {}};
}

SafariError SafariError::permissionDenied()
{
    return {Kind::PermissionDenied, 0, {}};
}

QString SafariError::errorDescription() const
{
    switch (kind) {
    case Kind::ScriptFailed:
        return PlatformWords::noAnswerError(code, message);
    case Kind::NotRunning:
        return PlatformWords::notRunningError();
    case Kind::PermissionDenied:
        return PlatformWords::permissionError();
    }
    return {};
}
