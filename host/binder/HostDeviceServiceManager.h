#pragma once

#include <binder/IServiceManager.h>

namespace android::hostbinder {

// The service manager of the host device this process belongs to (host device mode only).
sp<IServiceManager> hostDeviceServiceManager();

}  // namespace android::hostbinder
