#include <telemetry/settingsmanager/LockContention.h>

#include <atomic>
#include <cstdint>

namespace Tamar {
namespace OS {
namespace Telemetry {

namespace {
constexpr std::chrono::nanoseconds kDefaultMaxLockContention = std::chrono::seconds(60);
std::atomic<int64_t> gMaxLockContentionNs{kDefaultMaxLockContention.count()};
}  // namespace

std::chrono::nanoseconds maxLockContention() {
    return std::chrono::nanoseconds(gMaxLockContentionNs.load(std::memory_order_relaxed));
}

void setMaxLockContentionForTesting(std::chrono::nanoseconds limit) {
    gMaxLockContentionNs.store(limit.count(), std::memory_order_relaxed);
}

}  // namespace Telemetry
}  // namespace OS
}  // namespace Tamar
