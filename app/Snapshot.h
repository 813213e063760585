#pragma once

#include <optional>

#include "SelfTestRequest.h"

// The two self-test modes, checked before anything else of the application
// starts. Each works in a sandbox of its own, shows no window and no tray
// icon, and ends the process with the status it gives.
namespace Snapshot {

// First the self-test, then the screenshots; the exit status of the mode
// that ran, none when the arguments ask for neither.
std::optional<int> runIfRequested(const SelfTestRequest &request);
std::optional<int> sleepTestIfRequested(const SelfTestRequest &request);

} // namespace Snapshot
