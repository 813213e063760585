#include "SafariError.h"

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
        return QStringLiteral("Safari hat nicht geantwortet (Fehler %1): %2").arg(code).arg(message);
    case Kind::NotRunning:
        return QStringLiteral("Safari ist nicht geöffnet. Öffne Safari und versuche es nochmals.");
    case Kind::PermissionDenied:
        return QStringLiteral("Pellmora darf Safari noch nicht steuern. Erlauben: Systemeinstellungen → "
                              "Datenschutz & Sicherheit → Automation → Pellmora → Safari einschalten.");
    }
    return {};
}
