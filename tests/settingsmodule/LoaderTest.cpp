// The loader's failure table and lifecycle, one executable per settings module variant (named
// by the LOADER_MODULE_* define; see CMakeLists.txt), each run whole in one process.

#include <settingsmodule/SettingsManagerLoader.h>

#include <LogCapture.h>
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <set>
#include <thread>
#include <vector>

namespace {

using BASALT::Settings::v3::createSettingsManagerPtr;
using BASALT::Settings::v3::ISettingsManager;

constexpr const char* kLoadingLine = "BASALT loading module 'libbasalt.halcyon.so'";

// What the loaded recording module stored under `name` (see modules/RecordingModule.cpp).
template <typename T>
T recorded(const char* name) {
    void* module = dlopen("libbasalt.halcyon.so", RTLD_LAZY | RTLD_NOLOAD);
    auto* value = module ? static_cast<std::atomic<T>*>(dlsym(module, name)) : nullptr;
    const T result = value ? value->load() : T{};
    if (module) dlclose(module);
    if (!value) ADD_FAILURE() << "the loaded module records no " << name;
    return result;
}

#if !defined(LOADER_MODULE_RECORDING)

// No settings object from an absent module (one error line), from one without a create entry
// point (no error), or from one whose create fails (asked again on every call).
// One suite name per variant: the test runner tells the executables' cases apart by name.
#if defined(LOADER_MODULE_ABSENT)
#define UNUSABLE_MODULE SettingsModuleAbsent
#elif defined(LOADER_MODULE_NO_CREATE)
#define UNUSABLE_MODULE SettingsModuleWithoutCreate
#else
#define UNUSABLE_MODULE SettingsModuleCreateFails
#endif

TEST(UNUSABLE_MODULE, EveryCallAnswersEmptyAndTheModuleLoadsOnce) {
    testsupport::LogCapture log;
    for (int call = 0; call < 3; ++call) EXPECT_EQ(createSettingsManagerPtr(), nullptr);

    EXPECT_EQ(log.count(ANDROID_LOG_DEBUG, "BasaltLoader", kLoadingLine), 1u);
#if defined(LOADER_MODULE_ABSENT)
    EXPECT_EQ(BASALT::internal::Loader::moduleHandle(), nullptr);
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, "BasaltLoader",
                        "BASALT module 'libbasalt.halcyon.so' not found"),
              1u);
    EXPECT_EQ(log.withTag("BasaltLoader").size(), 2u);
#else
    EXPECT_NE(BASALT::internal::Loader::moduleHandle(), nullptr);
    EXPECT_EQ(log.withTag("BasaltLoader").size(), 1u);  // only the loading line
#endif
#if defined(LOADER_MODULE_CREATE_FAILS)
    EXPECT_EQ(recorded<int>("testModuleCreateCalls"), 3);
#endif
}

#else

// Concurrent first calls load the module once; the last copy of each object hands it back once,
// with version 3.
TEST(SettingsModuleLifecycle, ConcurrentFirstCallsLoadOnceAndLastCopiesDestroy) {
    testsupport::LogCapture log;
    constexpr int kThreads = 8;
    std::vector<std::shared_ptr<ISettingsManager> > created(kThreads);
    std::latch start(kThreads);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
            start.arrive_and_wait();
            created[i] = createSettingsManagerPtr();
        });
    }
    for (auto& thread : threads) thread.join();

    std::set<ISettingsManager*> distinct;
    for (auto& manager : created) {
        ASSERT_NE(manager, nullptr);
        distinct.insert(manager.get());
    }
    EXPECT_EQ(distinct.size(), static_cast<size_t>(kThreads));
    EXPECT_EQ(log.count(ANDROID_LOG_DEBUG, "BasaltLoader", kLoadingLine), 1u);
    EXPECT_EQ(log.withTag("BasaltLoader").size(), 1u);
    EXPECT_EQ(recorded<int>("testModuleCreateCalls"), kThreads);
    EXPECT_EQ(recorded<int64_t>("testModuleCreateVersion"), 3);

    void* last = created.back().get();
    std::shared_ptr<ISettingsManager> copy = created.back();
    created.clear();
    EXPECT_EQ(recorded<int>("testModuleDestroyCalls"), kThreads - 1);
    copy.reset();
    EXPECT_EQ(recorded<int>("testModuleDestroyCalls"), kThreads);
    EXPECT_EQ(recorded<int64_t>("testModuleDestroyVersion"), 3);
    EXPECT_EQ(recorded<void*>("testModuleDestroyedObject"), last);
}

#endif

}  // namespace
