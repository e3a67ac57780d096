// A settings module whose create entry point always fails; it counts how often it is asked.

#include <atomic>
#include <cstdint>

namespace {
std::atomic<int> createCalls{0};
}

extern "C" __attribute__((visibility("default"))) void* createSettingsManager(int64_t) {
    createCalls.fetch_add(1);
    return nullptr;
}

extern "C" __attribute__((visibility("default"))) void destroySettingsManager(int64_t,
                                                                              void*) noexcept {}

extern "C" __attribute__((visibility("default"))) int testModuleCreateCalls() {
    return createCalls.load();
}
