#include <telemetry/historystore/ClockWrapper.h>

namespace Tamar {
namespace OS {
namespace Telemetry {

ClockWrapper::~ClockWrapper() = default;

std::chrono::steady_clock::time_point ClockWrapper::now() const {
    return std::chrono::steady_clock::now();
}

}  // namespace Telemetry
}  // namespace OS
}  // namespace Tamar
