#include <binder/IServiceManager.h>
#include <binder_host/HostBinder.h>
#include <deviceconfig/BinderClient.h>
#include <deviceconfig_host/HostDeviceConfigService.h>
#include <gtest/gtest.h>

#include <LogCapture.h>
#include <WaitUntil.h>

#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <condition_variable>
#include <thread>

namespace {

using android::sp;
using com::halcyon::deviceconfig::aidl::IDeviceConfig;
using com::halcyon::deviceconfig::host::HostDeviceConfigService;
using testsupport::waitUntil;
using namespace std::chrono_literals;
using Client = Tamar::OS::BinderClient<IDeviceConfig>;

constexpr const char* kName = "binder_client_test_service";

sp<HostDeviceConfigService> publish(const std::string& marker) {
    sp<HostDeviceConfigService> service = new HostDeviceConfigService();
    service->setProperty("test", "marker", marker);
    EXPECT_EQ(android::OK,
              android::defaultServiceManager()->addService(android::String16(kName), service));
    return service;
}

// Whether the thread of this process sleeps in the kernel (state S in /proc).
bool isBlockedInKernel(pid_t tid) {
    std::ifstream stat("/proc/self/task/" + std::to_string(tid) + "/stat");
    std::string text;
    std::getline(stat, text);
    const size_t end = text.rfind(')');
    return end != std::string::npos && end + 2 < text.size() && text[end + 2] == 'S';
}

// Which service a client holds, told apart by the marker each test service was seeded with.
std::string markerOf(const sp<IDeviceConfig>& service) {
    std::vector<com::halcyon::deviceconfig::aidl::Property> result;
    const bool read = service != nullptr &&
                      service->getProperties("test", {"marker"}, &result).isOk() && !result.empty();
    return read ? result[0].value : "";
}

// Every case starts from an empty registry, also when cases share a process.
class BinderClient : public testing::Test {
protected:
    void SetUp() override { android::hostbinder::clearServices(); }
    // A client of kName that counts its callbacks.
    std::unique_ptr<Client> connect(std::chrono::milliseconds pause) {
        return std::make_unique<Client>(
                kName, pause,
                [this](const sp<IDeviceConfig>& service) {
                    EXPECT_NE(nullptr, service);
                    connectedOn = std::this_thread::get_id();
                    ++connected;
                },
                [this] { ++disconnected; });
    }

    std::atomic<int> connected{0};
    std::atomic<int> disconnected{0};
    std::atomic<std::thread::id> connectedOn{};
};

TEST_F(BinderClient, PicksUpAServiceRegisteredLaterAndReconnectsAfterItDies) {
    testsupport::LogCapture logs;
    auto client = connect(20ms);
    EXPECT_EQ(nullptr, client->getService());
    publish("late");
    ASSERT_TRUE(waitUntil([&] { return connected.load() == 1; }));
    EXPECT_EQ("late", markerOf(client->getService()));
    EXPECT_TRUE(logs.withTag("DeviceConfig").empty());  // a missing service is not an error

    ASSERT_EQ(android::OK, android::hostbinder::killService(android::String16(kName)));
    ASSERT_TRUE(waitUntil([&] { return disconnected.load() == 1; }));
    EXPECT_EQ(nullptr, client->getService());
    publish("after");
    // The service is published before the connected callback runs: wait for the callback.
    ASSERT_TRUE(waitUntil([&] { return connected.load() == 2; }));
    EXPECT_EQ("after", markerOf(client->getService()));
}

TEST_F(BinderClient, ConnectsInTheConstructorAndTakesAReplacementAlreadyRegisteredAtOnce) {
    sp<HostDeviceConfigService> old = publish("old");
    // The pause is far longer than the bound below: only the immediate attempt can succeed.
    auto client = connect(60s);
    ASSERT_EQ("old", markerOf(client->getService()));
    EXPECT_EQ(client->getService(), client->currentService());
    EXPECT_EQ(1, connected.load());
    EXPECT_NE(std::this_thread::get_id(), connectedOn.load());

    publish("replacement");
    ASSERT_EQ(android::OK, android::hostbinder::killBinder(old));
    ASSERT_TRUE(waitUntil([&] { return connected.load() == 2; }, 20s));
    EXPECT_EQ("replacement", markerOf(client->getService()));
    EXPECT_EQ(1, disconnected.load());
}

TEST_F(BinderClient, DestructionCutsThePauseBetweenAttemptsShort) {
    auto client = connect(std::chrono::hours(1));
    EXPECT_EQ(nullptr, client->getService());
    // Destroyed on a thread of its own, left behind if it waits out the pause.
    auto destroyed = std::make_shared<std::atomic<bool>>(false);
    std::thread([raw = client.release(), destroyed] {
        delete raw;
        *destroyed = true;
    }).detach();
    EXPECT_TRUE(waitUntil([&] { return destroyed->load(); }, 60s));
}

TEST_F(BinderClient, AnAttemptThatEndsAfterDestructionBeganIsIgnored) {
    testsupport::LogCapture logs;
    // A service-manager getter that parks its second call until the test lets it go.
    std::mutex mutex;
    std::condition_variable changed;
    int calls = 0;
    bool released = false;
    auto client = std::make_unique<Client>(
            kName, 5ms, [&](const sp<IDeviceConfig>&) { ++connected; }, Client::OnDisconnected(),
            android::interface_cast<IDeviceConfig>,
            [&] {
                std::unique_lock<std::mutex> lock(mutex);
                if (++calls == 2) {
                    changed.notify_all();
                    changed.wait(lock, [&] { return released; });
                }
                return android::defaultServiceManager();
            });
    {
        std::unique_lock<std::mutex> lock(mutex);
        changed.wait(lock, [&] { return calls >= 2; });
    }
    publish("too-late");

    std::atomic<pid_t> destroyerTid{0};
    std::thread destroyer([&] {
        destroyerTid = static_cast<pid_t>(syscall(SYS_gettid));
        client.reset();
    });
    // The destructor marks the client destroyed, then blocks only to join the parked attempt.
    ASSERT_TRUE(waitUntil([&] { return destroyerTid != 0 && isBlockedInKernel(destroyerTid); }));
    {
        std::lock_guard<std::mutex> lock(mutex);
        released = true;
        changed.notify_all();
    }
    destroyer.join();

    EXPECT_EQ(0, connected.load());
    EXPECT_EQ(1u, logs.count(ANDROID_LOG_WARN, "DeviceConfig",
                             "BinderClient: ignoring 'binder_client_test_service' reconnect after "
                             "destruction"));
}

TEST_F(BinderClient, ABinderOfAnotherTypeIsReportedAndRetried) {
    testsupport::LogCapture logs;
    publish("any");
    std::atomic<int> casts{0};
    {
        Client client(kName, 5ms, {}, {}, [&](const sp<android::IBinder>&) {
            ++casts;
            return sp<IDeviceConfig>();
        });
        EXPECT_EQ(nullptr, client.getService());
        ASSERT_TRUE(waitUntil([&] { return casts.load() >= 3; }));
    }
    EXPECT_GE(logs.count(ANDROID_LOG_ERROR, "DeviceConfig",
                         "BinderClient: Failed to convert IBinder to expected service type "
                         "binder_client_test_service"),
              3u);
}

}  // namespace
