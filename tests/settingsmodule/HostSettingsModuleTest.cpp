// The host settings module, loaded the way the system loads it (LD_LIBRARY_PATH names the
// module's directory) and driven through HostSettingsControl.h.

#include <settingsmodule/SettingsManagerLoader.h>
#include <settingsmodule_host/HostSettingsControl.h>

#include <LogCapture.h>
#include <Recorded.h>
#include <TempDir.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <optional>
#include <fstream>
#include <functional>
#include <future>
#include <mutex>
#include <string>
#include <thread>
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

// Records the keys it is called for; `hook` runs after each call is recorded, outside the lock.
class RecordingListener : public ISettingsListener {
public:
    void onSettingChange(const char* key) override {
        keys_.add(key);
        if (hook) hook(key);
    }
    std::vector<std::string> keys() const { return keys_.all(); }

    std::function<void(const char* key)> hook;

private:
    testsupport::Recorded<std::string> keys_;
};

// The module reads its settings file once per process, at its first load: this case loads first.
TEST(HostSettingsModule, SeedsFromFileAndSkipsMalformedLines) {
    // A process whose file cannot be read starts empty (in a child that runs only this far).
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
            {
                setenv("BASALT_SETTINGS_FILE", "/nonexistent/basalt.conf", 1);
                testsupport::LogCapture failing;
                const bool empty = textOf(*load().manager, "telemetry_state") == std::nullopt;
                std::_Exit(empty && failing.count(ANDROID_LOG_ERROR, "BasaltHostSettings",
                                                  "cannot read settings file "
                                                  "'/nonexistent/basalt.conf'") == 1
                                   ? 0
                                   : 1);
            },
            ::testing::ExitedWithCode(0), "");

    testsupport::TempDir dir("basalt-settings");
    const std::string path = dir.path() + "/settings.conf";
    std::ofstream(path) << "# seeded settings\n"
                           "telemetry_state = on\n"
                           "\n"
                           "no equals sign here\n"
                           "=value without key\n"
                           "managed_device=7\n"
                           "empty_value=\n"
                           "url=https://example.invalid/a=b#frag\n";
    setenv("BASALT_SETTINGS_FILE", path.c_str(), 1);
    testsupport::LogCapture log;

    Loaded loaded = load();
    ISettingsManager& settings = *loaded.manager;

    EXPECT_EQ(textOf(settings, "telemetry_state"), "on");
    EXPECT_EQ(settings.getInt("managed_device", -1), 7);
    EXPECT_EQ(textOf(settings, "empty_value"), "");
    EXPECT_EQ(textOf(settings, "url"), "https://example.invalid/a=b#frag");
    EXPECT_EQ(textOf(settings, "no equals sign here"), std::nullopt);
    for (const char* line : {":4", ":5"}) {
        EXPECT_EQ(log.count(ANDROID_LOG_WARN, "BasaltHostSettings",
                            path + line + ": malformed settings line skipped"),
                  1u);
    }
    EXPECT_EQ(log.withTag("BasaltHostSettings").size(), 2u);
}

TEST(HostSettingsModule, TypedGettersAcceptOnlyTheirTextForms) {
    Loaded loaded = load();
    ISettingsManager& settings = *loaded.manager;
    const struct {
        const char* text;
        std::optional<bool> flag;  // empty: the default answers
        std::optional<int32_t> number;
    } cases[] = {
            {"true", true, {}},
            {"1", true, 1},
            {"false", false, {}},
            {"0", false, 0},
            {"TRUE", {}, {}},
            {"42", {}, 42},
            {"-2147483648", {}, INT32_MIN},
            {"2147483647", {}, INT32_MAX},
            {"2147483648", {}, {}},
            {"42 ", {}, {}},
            {"0x1F", {}, {}},
            {"", {}, {}},
    };
    for (const auto& c : cases) {
        loaded.control.set("typed", c.text);
        EXPECT_EQ(settings.getBool("typed", true), c.flag.value_or(true)) << c.text;
        EXPECT_EQ(settings.getBool("typed", false), c.flag.value_or(false)) << c.text;
        EXPECT_EQ(settings.getInt("typed", -99), c.number.value_or(-99)) << c.text;
    }
    EXPECT_TRUE(settings.getBool("absent", true));
    EXPECT_EQ(settings.getInt("absent", 5), 5);
    EXPECT_EQ(settings.get("absent", "default"), nullptr);
}

TEST(HostSettingsModule, ListenersHearTheirKeyOnTheNotifierThreadUntilRemoved) {
    Loaded loaded = load();
    RecordingListener watching;
    RecordingListener other;
    RecordingListener removed;
    RecordingListener selfRemoving;
    std::atomic<bool> removedItself{false};
    std::atomic<bool> calledOnTestThread{false};
    watching.hook = [&, testThread = std::this_thread::get_id()](const char*) {
        if (std::this_thread::get_id() == testThread) calledOnTestThread = true;
    };
    selfRemoving.hook = [&](const char* key) {
        removedItself = loaded.manager->removeListener(key, &selfRemoving);
    };
    for (RecordingListener* listener : {&watching, &removed, &selfRemoving}) {
        ASSERT_TRUE(loaded.manager->addListener("watched", listener));
    }
    ASSERT_TRUE(loaded.manager->addListener("other", &other));
    EXPECT_TRUE(loaded.manager->removeListener("watched", &removed));
    EXPECT_FALSE(loaded.manager->removeListener("watched", &removed));

    EXPECT_TRUE(loaded.manager->setString("watched", "on"));
    loaded.control.set("watched", "OFF");
    loaded.control.remove("watched");
    ASSERT_TRUE(loaded.control.waitForNotifications());

    EXPECT_THAT(watching.keys(), ::testing::ElementsAre("watched", "watched", "watched"));
    EXPECT_FALSE(calledOnTestThread.load());
    EXPECT_TRUE(other.keys().empty());
    EXPECT_TRUE(removed.keys().empty());
    EXPECT_EQ(selfRemoving.keys().size(), 1u);
    EXPECT_TRUE(removedItself.load());

    // A destroyed settings object takes its listeners along.
    loaded.manager.reset();
    EXPECT_EQ(loaded.control.liveSettingsManagers(), 0);
    loaded.control.set("watched", "3");
    ASSERT_TRUE(loaded.control.waitForNotifications());
    EXPECT_EQ(watching.keys().size(), 3u);
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
