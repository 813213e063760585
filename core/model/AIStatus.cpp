#include "AIStatus.h"

#include "ModelClient.h"
#include "ModelConfig.h"

namespace AIStatus {

bool forceOff()
{
    static const bool off = qEnvironmentVariableIsSet("PELLMORA_NO_AI");
    return off;
}

Availability availability()
{
    return ModelClient(ModelConfig::current()).availability();
}

bool isAvailable()
{
    return !forceOff() && availability() == Availability::available;
}

QString description()
{
    if (forceOff())
        return forcedOffDescription();
    return description(availability());
}

QString forcedOffDescription()
{
    return QStringLiteral("Apple Intelligence: für diesen Lauf ausgeschaltet");
}

QString description(Availability availability)
{
    switch (availability) {
    case Availability::available:
        return QStringLiteral("Apple Intelligence: eingeschaltet, Themen und Chat laufen auf deinem Mac");
    case Availability::deviceNotEligible:
        return QStringLiteral("Apple Intelligence: dieser Mac unterstützt es nicht. Pellmora nutzt Stichwörter statt KI.");
    case Availability::notEnabled:
        return QStringLiteral("Apple Intelligence ist ausgeschaltet. Einschalten: Systemeinstellungen → Apple Intelligence & Siri.");
    case Availability::modelNotReady:
        return QStringLiteral("Apple Intelligence lädt noch das Sprachmodell. Bis dahin nutzt Pellmora Stichwörter.");
    case Availability::otherReason:
        break;
    }
    return QStringLiteral("Apple Intelligence ist gerade nicht verfügbar. Pellmora nutzt Stichwörter.");
}

} // namespace AIStatus
