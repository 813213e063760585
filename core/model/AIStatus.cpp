#include "AIStatus.h"

#include "ModelClient.h"
#include "ModelConfig.h"
#include "PlatformWords.h"

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
    return PlatformWords::modelStatus(PlatformWords::ModelState::forcedOff, ModelConfig::current().modelName);
}

QString description(Availability availability)
{
    using PlatformWords::ModelState;
    ModelState state = ModelState::otherReason;
    switch (availability) {
    case Availability::available:
        state = ModelState::available;
        break;
    case Availability::deviceNotEligible:
        state = ModelState::deviceNotEligible;
        break;
    case Availability::notEnabled:
        state = ModelState::notEnabled;
        break;
    case Availability::modelNotReady:
        state = ModelState::modelNotReady;
        break;
    case Availability::otherReason:
        break;
    }
    return PlatformWords::modelStatus(state, ModelConfig::current().modelName);
}

} // namespace AIStatus
