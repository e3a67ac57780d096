// A settings module that exports only the destroy entry point.

#include <cstdint>

extern "C" __attribute__((visibility("default"))) void destroySettingsManager(int64_t,
                                                                              void*) noexcept {}
