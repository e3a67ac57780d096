#pragma once

// Host-only control of the binder runtime, for tests, host tools and the host device. Device
// code never includes this header.
//
// Two modes, chosen once per process when the runtime is first used:
// - In-process (default): every "process" lives in this one; binders still behave as if
//   they crossed a process boundary (received binders are proxies, parcels are copied).
// - Host device: when the environment variable HALCYON_HOST_DEVICE names a directory, the
//   processes of that host device share one service manager and transact across processes
//   over Unix domain sockets under $HALCYON_HOST_DEVICE/binder/. One process of the device
//   serves the service manager (startHostDeviceBinder / runHostDeviceBinder, or the
//   `hostbinderd DIR` program); every other process just sets the variable.

#include <cstddef>

#include <binder/IBinder.h>
#include <utils/Errors.h>
#include <utils/String16.h>

namespace android::hostbinder {

// The environment variable naming the host device's directory.
inline constexpr const char* kHostDeviceEnv = "HALCYON_HOST_DEVICE";

// Serves the host device's service manager from this process on background threads and makes
// this process a member of the device at `dir` (created if missing, with `dir`/binder inside).
// Must be called before the process uses any binder; the service manager lives until the
// process exits (end the process to stop it). OK; INVALID_OPERATION if the runtime already
// started in another mode or directory; ALREADY_EXISTS if a live service manager already
// serves `dir`; BAD_VALUE if a socket path under `dir` would be too long; otherwise the
// failing call's -errno.
status_t startHostDeviceBinder(const char* dir);

// startHostDeviceBinder, then serves binder work on the calling thread. Returns only when
// starting fails, with startHostDeviceBinder's status.
status_t runHostDeviceBinder(const char* dir);

// Whether this process transacts across processes (host device mode).
bool isHostDeviceMode();

// In-process mode only: the object registered under the name dies as if its process had
// ended: every name it is registered under is removed, its linked death recipients are
// notified on a binder thread, and its proxies answer DEAD_OBJECT from then on.
// NAME_NOT_FOUND if the name is not registered; INVALID_OPERATION in host device mode (kill
// the process instead).
status_t killService(const String16& name);

// Same for any binder: a local object or the node behind a proxy. BAD_VALUE for null.
status_t killBinder(const sp<IBinder>& binder);

// Returns once every one-way call and death notice queued so far in this process has been
// delivered (and whatever those deliveries queued in turn). Must not be called on a binder
// thread.
void waitForIdle();

// Forgets every service registration without killing anything (in-process mode).
void clearServices();

// Number of nodes currently alive: local objects of this process that crossed the driver
// (in host device mode: that another process holds or may hold).
size_t nodeCount();

// Whether the calling thread is one of the runtime's binder threads.
bool isBinderThread();

}  // namespace android::hostbinder
