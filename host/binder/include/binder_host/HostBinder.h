#pragma once

// Host-only control of the in-process binder driver, for tests and host tools. Device code
// never includes this header.

#include <cstddef>

#include <binder/IBinder.h>
#include <utils/Errors.h>
#include <utils/String16.h>

namespace android::hostbinder {

// The object registered under the name dies as if its process had ended: every name it
// is registered under is removed, its linked death recipients are notified on a binder
// thread, and its proxies answer DEAD_OBJECT from then on. NAME_NOT_FOUND if the name is
// not registered.
status_t killService(const String16& name);

// Same for any binder: a local object or the node behind a proxy. BAD_VALUE for null.
status_t killBinder(const sp<IBinder>& binder);

// Returns once every one-way call and death notice queued so far has been delivered (and
// whatever those deliveries queued in turn). Must not be called on a binder thread.
void waitForIdle();

// Forgets every service registration without killing anything.
void clearServices();

// Number of driver nodes currently alive (local objects that crossed the driver).
size_t nodeCount();

// Whether the calling thread is one of the driver's binder threads.
bool isBinderThread();

}  // namespace android::hostbinder
