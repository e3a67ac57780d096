// Run against a settings module that records its create and destroy calls.

#include "LoadedModule.h"

#include <settingsmodule/SettingsManagerLoader.h>

#include <LogCapture.h>
#include <gtest/gtest.h>

#include <latch>
#include <set>
#include <thread>
#include <vector>

namespace {

using BASALT::Settings::v3::createSettingsManagerPtr;
using BASALT::Settings::v3::ISettingsManager;
using settingsmodule_test::loadedModuleFunction;

int destroyCalls() {
    return loadedModuleFunction<int()>("testModuleDestroyCalls")();
}

TEST(SettingsModuleLifecycle, LastCopyHandsObjectBackOnceWithVersion3) {
    std::shared_ptr<ISettingsManager> first = createSettingsManagerPtr();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(loadedModuleFunction<int64_t()>("testModuleCreateVersion")(), 3);
    void* object = first.get();

    std::shared_ptr<ISettingsManager> copy = first;
    first.reset();
    EXPECT_EQ(destroyCalls(), 0);

    copy.reset();
    EXPECT_EQ(destroyCalls(), 1);
    EXPECT_EQ(loadedModuleFunction<int64_t()>("testModuleDestroyVersion")(), 3);
    EXPECT_EQ(loadedModuleFunction<void*()>("testModuleDestroyedObject")(), object);
}

TEST(SettingsModuleLifecycle, ConcurrentFirstCallsLoadOnce) {
    testsupport::LogCapture log;
    constexpr int kThreads = 8;
    std::vector<std::shared_ptr<ISettingsManager>> created(kThreads);
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
    EXPECT_EQ(log.count(ANDROID_LOG_DEBUG, "BasaltLoader",
                        "BASALT loading module 'libbasalt.halcyon.so'"),
              1u);
    EXPECT_EQ(log.withTag("BasaltLoader").size(), 1u);
    EXPECT_EQ(loadedModuleFunction<int()>("testModuleCreateCalls")(), kThreads);

    created.clear();
    EXPECT_EQ(destroyCalls(), kThreads);
}

struct Counted {
    int* destroyed;
};

void destroyCounted(Counted* object) {
    ++*object->destroyed;
}

TEST(SettingsModulePtr, OwnershipFollowsTheDestroyFunction) {
    int destroyed = 0;
    Counted object{&destroyed};

    { BASALT::Ptr<Counted> owned(&object, &destroyCounted); }
    EXPECT_EQ(destroyed, 1);

    BASALT::Ptr<Counted> owned(&object, &destroyCounted);
    std::shared_ptr<Counted> shared = owned.toShared();
    EXPECT_FALSE(owned);
    EXPECT_EQ(shared.get(), &object);
    shared.reset();
    EXPECT_EQ(destroyed, 2);

    // Without a destroy function the shared_ptr must not free what it never owned.
    std::shared_ptr<Counted> unowned = BASALT::Ptr<Counted>(&object, nullptr).toShared();
    unowned.reset();
    EXPECT_EQ(destroyed, 2);

    EXPECT_EQ(BASALT::Ptr<Counted>().toShared(), nullptr);
}

}  // namespace
