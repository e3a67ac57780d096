// The host settings module, loaded the way the system loads it (LD_LIBRARY_PATH names the
// module's directory) and driven through HostSettingsControl.h.

#include <settingsmodule/SettingsManagerLoader.h>
#include <settingsmodule_host/HostSettingsControl.h>

#include <LogCapture.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <future>
#include <mutex>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using BASALT::Settings::v3::createSettingsManagerPtr;
using BASALT::Settings::v3::ISettingsListener;
using BASALT::Settings::v3::ISettingsManager;
using BASALT::Settings::v3::ISettingValue;
using settingsmodule_host::HostSettingsControl;

struct Loaded {
    std::shared_ptr<ISettingsManager> manager;
    HostSettingsControl control;
};

Loaded load() {
    std::shared_ptr<ISettingsManager> manager = createSettingsManagerPtr();
    if (manager == nullptr) std::abort();  // the module directory is not on LD_LIBRARY_PATH
    std::optional<HostSettingsControl> control = HostSettingsControl::find();
    if (!control) std::abort();
    return {std::move(manager), *control};
}

std::optional<std::string> textOf(ISettingsManager& manager, const char* key) {
    const ISettingValue* value = manager.get(key, "unused default");
    if (value == nullptr) return std::nullopt;
    EXPECT_EQ(value->getType(), 1);
    return std::string(value->getString());
}

// Records the keys it is called for and whether any call came on the thread that created it;
// `hook` runs after each call is recorded, outside the lock.
class RecordingListener : public ISettingsListener {
public:
    void onSettingChange(const char* key) override {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            keys_.push_back(key);
            calledOnCreatorThread_ |= std::this_thread::get_id() == creator_;
        }
        if (hook) hook(key);
    }
    std::vector<std::string> keys() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return keys_;
    }
    bool calledOnCreatorThread() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return calledOnCreatorThread_;
    }

    std::function<void(const char* key)> hook;

private:
    const std::thread::id creator_ = std::this_thread::get_id();
    mutable std::mutex mutex_;
    std::vector<std::string> keys_;
    bool calledOnCreatorThread_ = false;
};

TEST(HostSettingsModule, SeedsFromFileAndSkipsMalformedLines) {
    char path[] = "/tmp/basalt-settings-XXXXXX";
    int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    close(fd);
    {
        std::ofstream file(path);
        file << "# seeded settings\n"
                "telemetry_state = on\n"
                "\n"
                "no equals sign here\n"
                "=value without key\n"
                "managed_device=7\n"
                "empty_value=\n"
                "url=https://example.invalid/a=b#frag\n";
    }
    setenv("BASALT_SETTINGS_FILE", path, 1);
    testsupport::LogCapture log;

    Loaded loaded = load();
    ISettingsManager& settings = *loaded.manager;

    EXPECT_EQ(textOf(settings, "telemetry_state"), "on");
    EXPECT_EQ(settings.getInt("managed_device", -1), 7);
    EXPECT_EQ(textOf(settings, "empty_value"), "");
    EXPECT_EQ(textOf(settings, "url"), "https://example.invalid/a=b#frag");
    EXPECT_EQ(textOf(settings, "no equals sign here"), std::nullopt);
    EXPECT_EQ(log.count(ANDROID_LOG_WARN, "BasaltHostSettings",
                        std::string(path) + ":4: malformed settings line skipped"),
              1u);
    EXPECT_EQ(log.count(ANDROID_LOG_WARN, "BasaltHostSettings",
                        std::string(path) + ":5: malformed settings line skipped"),
              1u);
    EXPECT_EQ(log.withTag("BasaltHostSettings").size(), 2u);
    unlink(path);
}

TEST(HostSettingsModule, UnreadableFileLeavesSettingsEmpty) {
    setenv("BASALT_SETTINGS_FILE", "/nonexistent/basalt.conf", 1);
    testsupport::LogCapture log;

    Loaded loaded = load();

    EXPECT_EQ(textOf(*loaded.manager, "telemetry_state"), std::nullopt);
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, "BasaltHostSettings",
                        "cannot read settings file '/nonexistent/basalt.conf'"),
              1u);
}

TEST(HostSettingsModule, TypedGettersAcceptOnlyTheirTextForms) {
    Loaded loaded = load();
    ISettingsManager& settings = *loaded.manager;
    auto boolOf = [&](const char* text, bool defaultValue) {
        loaded.control.set("flag", text);
        return settings.getBool("flag", defaultValue);
    };
    auto intOf = [&](const char* text) {
        loaded.control.set("number", text);
        return settings.getInt("number", -99);
    };

    EXPECT_TRUE(boolOf("true", false));
    EXPECT_TRUE(boolOf("1", false));
    EXPECT_FALSE(boolOf("false", true));
    EXPECT_FALSE(boolOf("0", true));
    for (const char* other : {"TRUE", "yes"}) {  // not a bool text: the default answers
        EXPECT_TRUE(boolOf(other, true)) << other;
        EXPECT_FALSE(boolOf(other, false)) << other;
    }
    EXPECT_TRUE(settings.getBool("absent", true));

    EXPECT_EQ(intOf("42"), 42);
    EXPECT_EQ(intOf("-2147483648"), INT32_MIN);
    EXPECT_EQ(intOf("2147483647"), INT32_MAX);
    EXPECT_EQ(intOf("2147483648"), -99);
    EXPECT_EQ(intOf("42 "), -99);
    EXPECT_EQ(intOf("0x1F"), -99);
    EXPECT_EQ(intOf(""), -99);
    EXPECT_EQ(settings.getInt("absent", 5), 5);

    EXPECT_EQ(settings.get("absent", "default"), nullptr);
    EXPECT_TRUE(settings.setString("name", "value"));
    EXPECT_EQ(textOf(settings, "name"), "value");
    EXPECT_TRUE(loaded.control.remove("name"));
    EXPECT_FALSE(loaded.control.remove("name"));
    EXPECT_EQ(textOf(settings, "name"), std::nullopt);
}

TEST(HostSettingsModule, ChangesNotifyListenersOfThatKeyOnTheNotifierThread) {
    Loaded loaded = load();
    RecordingListener watchingState;
    RecordingListener watchingOther;
    ASSERT_TRUE(loaded.manager->addListener("telemetry_state", &watchingState));
    ASSERT_TRUE(loaded.manager->addListener("other", &watchingOther));

    EXPECT_TRUE(loaded.manager->setString("telemetry_state", "on"));
    ASSERT_TRUE(loaded.control.waitForNotifications());
    EXPECT_THAT(watchingState.keys(), ::testing::ElementsAre("telemetry_state"));

    loaded.control.set("telemetry_state", "OFF");
    loaded.control.remove("telemetry_state");
    ASSERT_TRUE(loaded.control.waitForNotifications());

    EXPECT_THAT(watchingState.keys(),
                ::testing::ElementsAre("telemetry_state", "telemetry_state", "telemetry_state"));
    EXPECT_FALSE(watchingState.calledOnCreatorThread());
    EXPECT_TRUE(watchingOther.keys().empty());

    loaded.manager->removeListener("telemetry_state", &watchingState);
    loaded.manager->removeListener("other", &watchingOther);
}

TEST(HostSettingsModule, RemovedListenersAreNotCalledAgain) {
    Loaded loaded = load();
    RecordingListener removed;
    RecordingListener selfRemoving;
    RecordingListener ofDestroyedObject;
    std::atomic<bool> removedItself{false};
    selfRemoving.hook = [&](const char* key) {
        removedItself = loaded.manager->removeListener(key, &selfRemoving);
    };
    ASSERT_TRUE(loaded.manager->addListener("key", &removed));
    ASSERT_TRUE(loaded.manager->addListener("key", &selfRemoving));
    EXPECT_TRUE(loaded.manager->removeListener("key", &removed));
    EXPECT_FALSE(loaded.manager->removeListener("key", &removed));

    loaded.control.set("key", "1");
    loaded.control.set("key", "2");
    ASSERT_TRUE(loaded.control.waitForNotifications());
    EXPECT_TRUE(removed.keys().empty());
    EXPECT_EQ(selfRemoving.keys().size(), 1u);
    EXPECT_TRUE(removedItself.load());

    // A destroyed settings object takes its listeners along.
    ASSERT_TRUE(loaded.manager->addListener("key", &ofDestroyedObject));
    loaded.manager.reset();
    EXPECT_EQ(loaded.control.liveSettingsManagers(), 0);
    loaded.control.set("key", "3");
    ASSERT_TRUE(loaded.control.waitForNotifications());
    EXPECT_TRUE(ofDestroyedObject.keys().empty());
}

TEST(HostSettingsModule, RemoveListenerWaitsForTheCallInFlight) {
    Loaded loaded = load();
    // The first call blocks until released, so that the removal races with it.
    std::promise<void> entered;
    std::promise<void> release;
    std::atomic<bool> callFinished{false};
    RecordingListener listener;
    listener.hook = [&, released = release.get_future().share()](const char*) {
        if (listener.keys().size() == 1) {
            entered.set_value();
            released.wait();
            callFinished = true;
        }
    };
    ASSERT_TRUE(loaded.manager->addListener("key", &listener));
    loaded.control.set("key", "1");
    entered.get_future().wait();

    // Whenever the removal gets in, it must not return while the call still runs.
    std::promise<void> removing;
    std::atomic<bool> returnedAfterTheCall{false};
    std::thread remover([&] {
        removing.set_value();
        loaded.manager->removeListener("key", &listener);
        returnedAfterTheCall = callFinished.load();
    });
    removing.get_future().wait();
    release.set_value();
    remover.join();
    EXPECT_TRUE(returnedAfterTheCall.load());

    loaded.control.set("key", "2");
    ASSERT_TRUE(loaded.control.waitForNotifications());
    EXPECT_EQ(listener.keys().size(), 1u);
}

}  // namespace
