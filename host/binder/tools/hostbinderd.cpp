// hostbinderd DIR: serves the service manager of the host device at DIR until killed;
// prints "ready" once it can be reached.
// Member processes reach it with HALCYON_HOST_DEVICE=DIR.

#include <cstdio>
#include <cstring>

#include <binder/IPCThreadState.h>
#include <binder_host/HostBinder.h>

int main(int argc, char** argv) {
    if (argc != 2 || std::strcmp(argv[1], "--help") == 0) {
        std::fprintf(stderr,
                     "usage: %s DIR\nServes the service manager of the host device at DIR.\n",
                     argv[0]);
        return 2;
    }
    const android::status_t status = android::hostbinder::startHostDeviceBinder(argv[1]);
    if (status == android::OK) {
        // Tells whoever started it that the service manager is reachable.
        std::printf("ready\n");
        std::fflush(stdout);
        android::IPCThreadState::self()->joinThreadPool();
    }
    std::fprintf(stderr, "%s: cannot serve %s: %s\n", argv[0], argv[1], std::strerror(-status));
    return 1;
}
