// A settings module that creates inert settings objects and records every create and destroy
// call for the tests to read back through dlsym.

#include <settingsmodule/ISettingsManager.h>

#include <atomic>
#include <cstdint>

#define TEST_MODULE_EXPORT extern "C" __attribute__((visibility("default")))

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

std::atomic<int> createCalls{0};
std::atomic<int64_t> createVersion{0};
std::atomic<int> destroyCalls{0};
std::atomic<int64_t> destroyVersion{0};
std::atomic<void*> destroyedObject{nullptr};

}  // namespace

TEST_MODULE_EXPORT void* createSettingsManager(int64_t version) {
    createCalls.fetch_add(1);
    createVersion.store(version);
    return static_cast<ISettingsManager*>(new InertSettingsManager());
}

TEST_MODULE_EXPORT void destroySettingsManager(int64_t version, void* object) noexcept {
    destroyVersion.store(version);
    destroyedObject.store(object);
    destroyCalls.fetch_add(1);
    delete static_cast<ISettingsManager*>(object);
}

TEST_MODULE_EXPORT int testModuleCreateCalls() {
    return createCalls.load();
}
TEST_MODULE_EXPORT int64_t testModuleCreateVersion() {
    return createVersion.load();
}
TEST_MODULE_EXPORT int testModuleDestroyCalls() {
    return destroyCalls.load();
}
TEST_MODULE_EXPORT int64_t testModuleDestroyVersion() {
    return destroyVersion.load();
}
TEST_MODULE_EXPORT void* testModuleDestroyedObject() {
    return destroyedObject.load();
}
