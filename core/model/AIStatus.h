#pragma once

#include <QString>

// Whether the language model may and can be used, and a one-line German
// explanation for the user.
namespace AIStatus {

enum class Availability {
    available,
    deviceNotEligible,
    notEnabled,    // no model chosen
    modelNotReady, // server up, model missing or still loading
    otherReason,   // server down, refused address, anything else
};

// Whether PELLMORA_NO_AI was present at the first use; fixed for the run.
bool forceOff();
// Asks the configured server anew each time (a short request).
Availability availability();
bool isAvailable();
QString description();
// The text for an outcome when the model is not forced off.
QString description(Availability availability);
QString forcedOffDescription();

} // namespace AIStatus
