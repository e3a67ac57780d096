// Transactions through the in-process driver: two-way marshalling, proxies, one-way order.

#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include <binder/BpBinder.h>
#include <binder/IServiceManager.h>
#include <binder/Parcel.h>
#include <binder_host/HostBinder.h>

#include "DriverTestSupport.h"

namespace {

using android::IBinder;
using android::Parcel;
using android::sp;
using android::String16;
using binder_test::callEcho;
using binder_test::sendRecord;
using binder_test::TestService;

sp<IBinder> registerService(const char* name, const sp<TestService>& service) {
    EXPECT_EQ(android::OK, android::defaultServiceManager()->addService(String16(name), service));
    return android::defaultServiceManager()->checkService(String16(name));
}

// Each case normally has a process of its own; starting from an empty registry also
// keeps repeated runs in one process meaningful.
class DriverTransactions : public ::testing::Test {
protected:
    void SetUp() override {
        android::hostbinder::clearServices();
        android::hostbinder::waitForIdle();
    }
};

TEST_F(DriverTransactions, ServiceManagerAnswersTheSameProxyForAName) {
    const sp<TestService> service = new TestService();
    const sp<IBinder> first = registerService("svc", service);
    ASSERT_NE(nullptr, first);
    EXPECT_NE(nullptr, first->remoteBinder());
    EXPECT_EQ(nullptr, first->localBinder());
    EXPECT_EQ(first, android::defaultServiceManager()->checkService(String16("svc")));
    EXPECT_EQ(first, android::defaultServiceManager()->getService(String16("svc")));
    EXPECT_EQ(nullptr, android::defaultServiceManager()->checkService(String16("absent")));

    const auto names = android::defaultServiceManager()->listServices();
    ASSERT_EQ(1u, names.size());
    EXPECT_EQ(String16("svc"), names[0]);
    EXPECT_EQ(android::UNEXPECTED_NULL,
              android::defaultServiceManager()->addService(String16("null"), nullptr));
}

TEST_F(DriverTransactions, TwoWayCallCopiesRequestAndReply) {
    const sp<TestService> service = new TestService();
    const sp<IBinder> proxy = registerService("svc", service);

    Parcel data;
    Parcel reply;
    data.markForBinder(proxy);
    data.writeInterfaceToken(TestService::descriptor());
    data.writeUtf8AsUtf16(std::string("h\xC3\xA9llo"));
    ASSERT_EQ(android::OK, proxy->transact(TestService::ECHO, data, &reply));
    EXPECT_NE(data.data(), service->lastRequestData());  // the callee got its own copy
    EXPECT_EQ(0u, reply.dataPosition());
    EXPECT_EQ(0, reply.readExceptionCode());
    std::string answer;
    ASSERT_EQ(android::OK, reply.readUtf8FromUtf16(&answer));
    EXPECT_EQ("h\xC3\xA9llo", answer);
}

TEST_F(DriverTransactions, NegativeResultReachesCallerWithEmptyReply) {
    const sp<IBinder> proxy = registerService("svc", new TestService());
    Parcel data;
    data.writeInterfaceToken(TestService::descriptor());
    Parcel reply;
    reply.writeInt32(5);
    EXPECT_EQ(android::BAD_VALUE, proxy->transact(TestService::FAIL_WITH_BAD_VALUE, data, &reply));
    EXPECT_EQ(0u, reply.dataSize());

    Parcel wrongToken;
    wrongToken.writeInterfaceToken(String16("test.IOther"));
    EXPECT_EQ(android::BAD_TYPE, proxy->transact(TestService::ECHO, wrongToken, &reply));
    EXPECT_EQ(android::UNKNOWN_TRANSACTION,
              proxy->transact(IBinder::LAST_CALL_TRANSACTION + 5, data, &reply));
}

TEST_F(DriverTransactions, FrameworkTransactionsAreServedByTheStub) {
    const sp<IBinder> proxy = registerService("svc", new TestService());
    EXPECT_EQ(android::OK, proxy->pingBinder());
    EXPECT_TRUE(proxy->isBinderAlive());
    EXPECT_EQ(TestService::descriptor(), proxy->getInterfaceDescriptor());
    EXPECT_EQ(nullptr, proxy->queryLocalInterface(TestService::descriptor()));
}

TEST_F(DriverTransactions, BindersInParcelsArriveAsProxiesWithStableIdentity) {
    const sp<TestService> service = new TestService();
    const sp<IBinder> proxy = registerService("svc", service);
    const sp<TestService> callback = new TestService();

    auto echoBinder = [&](const sp<IBinder>& binder) {
        Parcel data;
        Parcel reply;
        data.writeInterfaceToken(TestService::descriptor());
        data.writeStrongBinder(binder);
        EXPECT_EQ(android::OK, proxy->transact(TestService::ECHO_BINDER, data, &reply));
        EXPECT_EQ(0, reply.readExceptionCode());
        return reply.readStrongBinder();
    };

    const sp<IBinder> first = echoBinder(callback);
    EXPECT_TRUE(service->lastReceivedBinderWasProxy());
    ASSERT_NE(nullptr, first);
    EXPECT_NE(nullptr, first->remoteBinder());
    EXPECT_EQ(first, echoBinder(callback));  // same node, same proxy
    EXPECT_EQ(first, echoBinder(first));     // a proxy sent back stays itself
    EXPECT_EQ(proxy, echoBinder(proxy));

    std::string answer;
    EXPECT_EQ(android::OK, callEcho(first, "through the proxy", &answer));
    EXPECT_EQ("through the proxy", answer);
}

TEST_F(DriverTransactions, CalleeMayCallBackIntoTheCaller) {
    const sp<IBinder> proxy = registerService("svc", new TestService());
    const sp<TestService> callback = new TestService();
    Parcel data;
    Parcel reply;
    data.writeInterfaceToken(TestService::descriptor());
    data.writeStrongBinder(callback);
    ASSERT_EQ(android::OK, proxy->transact(TestService::CALL_BACK, data, &reply));
    EXPECT_EQ(0, reply.readExceptionCode());
    std::string answer;
    ASSERT_EQ(android::OK, reply.readUtf8FromUtf16(&answer));
    EXPECT_EQ("nested", answer);
}

TEST_F(DriverTransactions, TamperedObjectFailsTheTransaction) {
    const sp<IBinder> proxy = registerService("svc", new TestService());
    Parcel data;
    data.writeInterfaceToken(TestService::descriptor());
    const size_t objectAt = data.dataPosition();
    data.writeStrongBinder(new TestService());
    data.setDataPosition(objectAt);
    data.writeInt32(0x73682A85);  // pretend the local object is a handle
    Parcel reply;
    EXPECT_EQ(android::FAILED_TRANSACTION, proxy->transact(TestService::ECHO_BINDER, data, &reply));
}

TEST_F(DriverTransactions, OneWayCallsArriveInOrderOnBinderThreads) {
    const sp<TestService> first = new TestService();
    const sp<TestService> second = new TestService();
    const sp<IBinder> firstProxy = registerService("first", first);
    const sp<IBinder> secondProxy = registerService("second", second);

    constexpr int32_t kCalls = 300;
    for (int32_t i = 0; i < kCalls; ++i) {
        ASSERT_EQ(android::OK, sendRecord(firstProxy, i));
        ASSERT_EQ(android::OK, sendRecord(secondProxy, -i));
    }
    android::hostbinder::waitForIdle();

    std::vector<int32_t> expectedFirst;
    std::vector<int32_t> expectedSecond;
    for (int32_t i = 0; i < kCalls; ++i) {
        expectedFirst.push_back(i);
        expectedSecond.push_back(-i);
    }
    EXPECT_EQ(expectedFirst, first->recorded());
    EXPECT_EQ(expectedSecond, second->recorded());
    EXPECT_TRUE(first->allOnBinderThreads());
    EXPECT_FALSE(android::hostbinder::isBinderThread());
}

TEST_F(DriverTransactions, NodesReleaseTheirObjectWhenTheLastReferenceGoes) {
    bool destroyed = false;
    {
        sp<TestService> service = new TestService(&destroyed);
        const sp<IBinder> proxy = registerService("svc", service);
        service.clear();
        EXPECT_EQ(1u, android::hostbinder::nodeCount());
        android::hostbinder::clearServices();
        EXPECT_FALSE(destroyed);  // the proxy still refers to it
    }
    EXPECT_TRUE(destroyed);
    EXPECT_EQ(0u, android::hostbinder::nodeCount());
}

TEST_F(DriverTransactions, GetServiceWaitsForALateRegistration) {
    const sp<TestService> service = new TestService();
    std::thread registrar([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        android::defaultServiceManager()->addService(String16("late"), service);
    });
    const sp<IBinder> binder = android::defaultServiceManager()->getService(String16("late"));
    registrar.join();
    EXPECT_NE(nullptr, binder);
}

TEST_F(DriverTransactions, ConcurrentCallersAndOneWaySenders) {
    const sp<TestService> service = new TestService();
    const sp<IBinder> proxy = registerService("svc", service);
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 100; ++i) {
                std::string answer;
                const std::string text = std::to_string(t * 1000 + i);
                if (callEcho(proxy, text, &answer) != android::OK || answer != text) ++failures;
                if (sendRecord(proxy, i) != android::OK) ++failures;
                const sp<IBinder> again =
                        android::defaultServiceManager()->checkService(String16("svc"));
                if (again != proxy) ++failures;
            }
        });
    }
    for (auto& thread : threads) thread.join();
    android::hostbinder::waitForIdle();
    EXPECT_EQ(0, failures.load());
    EXPECT_EQ(400u, service->recorded().size());
}

}  // namespace
