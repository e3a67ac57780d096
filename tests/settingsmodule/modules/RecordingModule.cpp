// A settings module that records every create and destroy call for the tests to read back
// through dlsym. Built with TEST_MODULE_CREATE_FAILS its create entry point returns null.

#include <settingsmodule/ISettingsManager.h>

#include <atomic>
#include <cstdint>

namespace {

using BASALT::Settings::v3::ISettingsListener;
using BASALT::Settings::v3::ISettingsManager;
using BASALT::Settings::v3::ISettingValue;

class InertSettingsManager final : public ISettingsManager {
public:
    bool getBool(const char*, bool defaultValue) override { return defaultValue; }
    int32_t getInt(const char*, int32_t defaultValue) override { return defaultValue; }
    const ISettingValue* get(const char*, const char*) override { return nullptr; }
    bool setString(const char*, const char*) override { return false; }
    bool addListener(const char*, ISettingsListener*) override { return false; }
    bool removeListener(const char*, ISettingsListener*) override { return false; }
};

}  // namespace

extern "C" {

__attribute__((visibility("default"))) std::atomic<int> testModuleCreateCalls{0};
__attribute__((visibility("default"))) std::atomic<int64_t> testModuleCreateVersion{0};
__attribute__((visibility("default"))) std::atomic<int> testModuleDestroyCalls{0};
__attribute__((visibility("default"))) std::atomic<int64_t> testModuleDestroyVersion{0};
__attribute__((visibility("default"))) std::atomic<void*> testModuleDestroyedObject{nullptr};

__attribute__((visibility("default"))) void* createSettingsManager(int64_t version) {
    testModuleCreateCalls.fetch_add(1);
    testModuleCreateVersion.store(version);
#ifdef TEST_MODULE_CREATE_FAILS
    return nullptr;
#else
    return static_cast<ISettingsManager*>(new InertSettingsManager());
#endif
}

__attribute__((visibility("default"))) void destroySettingsManager(int64_t version,
                                                                   void* object) noexcept {
    testModuleDestroyVersion.store(version);
    testModuleDestroyedObject.store(object);
    testModuleDestroyCalls.fetch_add(1);
    delete static_cast<ISettingsManager*>(object);
}
}
