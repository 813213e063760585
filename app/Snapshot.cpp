#include "Snapshot.h"

#include "SleepTest.h"
#include "SnapshotMode.h"

namespace Snapshot {

std::optional<int> runIfRequested(const SelfTestRequest &request)
{
    // The self-test ends the process, so with both arguments it alone runs.
    if (std::optional<int> status = sleepTestIfRequested(request))
        return status;
    if (request.snapshot)
        return SnapshotMode::run(request.snapshotFolder);
    return std::nullopt;
}

std::optional<int> sleepTestIfRequested(const SelfTestRequest &request)
{
    if (!request.sleepTest)
        return std::nullopt;
    return SleepTest::run();
}

} // namespace Snapshot
