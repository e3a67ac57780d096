// The in-process driver: two-way marshalling, proxies, one-way order, and death of a service
// (notices, DEAD_OBJECT, registering the name again).

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <binder/Binder.h>
#include <binder/BpBinder.h>
#include <binder/IServiceManager.h>
#include <binder/Parcel.h>
#include <binder_host/HostBinder.h>

namespace {

using android::IBinder;
using android::Parcel;
using android::sp;
using android::status_t;
using android::String16;
using android::wp;
using android::hostbinder::isBinderThread;
using android::hostbinder::killService;
using android::hostbinder::waitForIdle;

// One transaction per behaviour the driver has to carry.
enum : uint32_t {
    ECHO = IBinder::FIRST_CALL_TRANSACTION,
    FAIL_WITH_BAD_VALUE,
    RECORD_ONEWAY,
    ECHO_BINDER,
    CALL_BACK,
};

// Leaked on purpose: binder threads may outlive static destruction.
const String16& descriptor() {
    static const String16* const kDescriptor = new String16("test.ITestService");
    return *kDescriptor;
}

status_t callEcho(const sp<IBinder>& binder, const std::string& text, std::string* answer) {
    Parcel data;
    Parcel reply;
    data.markForBinder(binder);
    data.writeInterfaceToken(descriptor());
    data.writeUtf8AsUtf16(text);
    if (status_t status = binder->transact(ECHO, data, &reply); status != android::OK) {
        return status;
    }
    if (reply.readExceptionCode() != 0) return android::UNKNOWN_ERROR;
    return reply.readUtf8FromUtf16(answer);
}

status_t sendRecord(const sp<IBinder>& binder, int32_t value) {
    Parcel data;
    data.writeInterfaceToken(descriptor());
    data.writeInt32(value);
    return binder->transact(RECORD_ONEWAY, data, nullptr, IBinder::FLAG_ONEWAY);
}

class TestService : public android::BBinder {
public:
    const String16& getInterfaceDescriptor() const override { return descriptor(); }

    // What the service observed, copied under its lock.
    struct Observed {
        std::vector<int32_t> recorded;
        bool allOnBinderThreads = true;
        const uint8_t* lastRequestData = nullptr;
        bool lastReceivedBinderWasProxy = false;
    };

    Observed observed() {
        std::lock_guard<std::mutex> guard(mLock);
        return mObserved;
    }

protected:
    status_t onTransact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags) override {
        if (code < FIRST_CALL_TRANSACTION || code > LAST_CALL_TRANSACTION) {
            return BBinder::onTransact(code, data, reply, flags);
        }
        if (!data.checkInterface(this)) return android::BAD_TYPE;
        {
            std::lock_guard<std::mutex> guard(mLock);
            mObserved.lastRequestData = data.data();
        }
        switch (code) {
            case ECHO:
                reply->writeNoException();
                return reply->writeString16(data.readString16());
            case FAIL_WITH_BAD_VALUE:
                reply->writeInt32(99);  // must not reach the caller
                return android::BAD_VALUE;
            case RECORD_ONEWAY: {
                std::lock_guard<std::mutex> guard(mLock);
                mObserved.recorded.push_back(data.readInt32());
                mObserved.allOnBinderThreads &= isBinderThread();
                return android::OK;
            }
            case ECHO_BINDER: {
                sp<IBinder> binder;
                if (data.readStrongBinder(&binder) != android::OK) return android::BAD_TYPE;
                {
                    std::lock_guard<std::mutex> guard(mLock);
                    mObserved.lastReceivedBinderWasProxy = binder->remoteBinder() != nullptr;
                }
                reply->writeNoException();
                return reply->writeStrongBinder(binder);
            }
            case CALL_BACK: {
                sp<IBinder> callback;
                if (data.readStrongBinder(&callback) != android::OK) return android::BAD_TYPE;
                std::string answer;
                const status_t status = callEcho(callback, "nested", &answer);
                reply->writeNoException();
                return status != android::OK ? status : reply->writeUtf8AsUtf16(answer);
            }
            default:
                return android::UNKNOWN_TRANSACTION;
        }
    }

private:
    std::mutex mLock;
    Observed mObserved;
};

sp<IBinder> checkService(const char* name) {
    return android::defaultServiceManager()->checkService(String16(name));
}

sp<IBinder> registerService(const char* name, const sp<TestService>& service) {
    EXPECT_EQ(android::OK, android::defaultServiceManager()->addService(String16(name), service));
    return checkService(name);
}

// Each case normally has a process of its own; starting from an empty registry also
// keeps repeated runs in one process meaningful.
class DriverTest : public ::testing::Test {
protected:
    void SetUp() override {
        android::hostbinder::clearServices();
        waitForIdle();
    }
};
using DriverTransactions = DriverTest;
using DeathNotification = DriverTest;

TEST_F(DriverTransactions, ServiceManagerAnswersOneProxyPerNameServedByTheStub) {
    const sp<IBinder> proxy = registerService("svc", new TestService());
    ASSERT_NE(nullptr, proxy);
    EXPECT_NE(nullptr, proxy->remoteBinder());
    EXPECT_EQ(nullptr, proxy->localBinder());
    EXPECT_EQ(proxy, checkService("svc"));
    EXPECT_EQ(proxy, android::defaultServiceManager()->getService(String16("svc")));
    EXPECT_EQ(nullptr, checkService("absent"));
    const auto names = android::defaultServiceManager()->listServices();
    ASSERT_EQ(1u, names.size());
    EXPECT_EQ(String16("svc"), names[0]);
    EXPECT_EQ(android::UNEXPECTED_NULL,
              android::defaultServiceManager()->addService(String16("null"), nullptr));

    // Framework transactions reach the stub's defaults across the boundary.
    EXPECT_EQ(android::OK, proxy->pingBinder());
    EXPECT_TRUE(proxy->isBinderAlive());
    EXPECT_EQ(descriptor(), proxy->getInterfaceDescriptor());
    EXPECT_EQ(nullptr, proxy->queryLocalInterface(descriptor()));
}

TEST_F(DriverTransactions, TwoWayCallCopiesRequestAndReplyAndErrorsLeaveAnEmptyReply) {
    const sp<TestService> service = new TestService();
    const sp<IBinder> proxy = registerService("svc", service);
    Parcel data;
    Parcel reply;
    data.markForBinder(proxy);
    data.writeInterfaceToken(descriptor());
    data.writeUtf8AsUtf16(std::string("h\xC3\xA9llo"));
    ASSERT_EQ(android::OK, proxy->transact(ECHO, data, &reply));
    EXPECT_NE(data.data(), service->observed().lastRequestData);  // the callee got its own copy
    EXPECT_EQ(0u, reply.dataPosition());
    EXPECT_EQ(0, reply.readExceptionCode());
    std::string answer;
    ASSERT_EQ(android::OK, reply.readUtf8FromUtf16(&answer));
    EXPECT_EQ("h\xC3\xA9llo", answer);

    Parcel failing;
    failing.writeInterfaceToken(descriptor());
    EXPECT_EQ(android::BAD_VALUE, proxy->transact(FAIL_WITH_BAD_VALUE, failing, &reply));
    EXPECT_EQ(0u, reply.dataSize());  // what the stub wrote before failing is not delivered
    EXPECT_EQ(android::UNKNOWN_TRANSACTION,
              proxy->transact(IBinder::LAST_CALL_TRANSACTION + 5, failing, &reply));
    Parcel wrongToken;
    wrongToken.writeInterfaceToken(String16("test.IOther"));
    EXPECT_EQ(android::BAD_TYPE, proxy->transact(ECHO, wrongToken, &reply));
}

TEST_F(DriverTransactions, BindersInParcelsArriveAsProxiesWithStableIdentityAndCallBack) {
    const sp<TestService> service = new TestService();
    const sp<IBinder> proxy = registerService("svc", service);
    const sp<TestService> callback = new TestService();
    auto echoBinder = [&](const sp<IBinder>& binder) {
        Parcel data;
        Parcel reply;
        data.writeInterfaceToken(descriptor());
        data.writeStrongBinder(binder);
        EXPECT_EQ(android::OK, proxy->transact(ECHO_BINDER, data, &reply));
        EXPECT_EQ(0, reply.readExceptionCode());
        return reply.readStrongBinder();
    };

    const sp<IBinder> first = echoBinder(callback);
    EXPECT_TRUE(service->observed().lastReceivedBinderWasProxy);
    ASSERT_NE(nullptr, first);
    EXPECT_NE(nullptr, first->remoteBinder());
    EXPECT_EQ(first, echoBinder(callback));  // same node, same proxy
    EXPECT_EQ(first, echoBinder(first));     // a proxy sent back stays itself
    EXPECT_EQ(proxy, echoBinder(proxy));
    std::string answer;
    EXPECT_EQ(android::OK, callEcho(first, "through the proxy", &answer));
    EXPECT_EQ("through the proxy", answer);

    // The callee may call back into the caller's object while the outer call is pending.
    Parcel data;
    Parcel reply;
    data.writeInterfaceToken(descriptor());
    data.writeStrongBinder(callback);
    ASSERT_EQ(android::OK, proxy->transact(CALL_BACK, data, &reply));
    EXPECT_EQ(0, reply.readExceptionCode());
    ASSERT_EQ(android::OK, reply.readUtf8FromUtf16(&answer));
    EXPECT_EQ("nested", answer);
}

TEST_F(DriverTransactions, TamperedObjectFailsTheTransaction) {
    const sp<IBinder> proxy = registerService("svc", new TestService());
    Parcel data;
    data.writeInterfaceToken(descriptor());
    const size_t objectAt = data.dataPosition();
    data.writeStrongBinder(sp<TestService>(new TestService()));
    data.setDataPosition(objectAt);
    data.writeInt32(0x73682A85);  // pretend the local object is a handle
    Parcel reply;
    EXPECT_EQ(android::FAILED_TRANSACTION, proxy->transact(ECHO_BINDER, data, &reply));
}

TEST_F(DriverTransactions, OneWayCallsArriveInOrderPerNodeOnBinderThreads) {
    const sp<TestService> first = new TestService();
    const sp<TestService> second = new TestService();
    const sp<IBinder> firstProxy = registerService("first", first);
    const sp<IBinder> secondProxy = registerService("second", second);
    std::vector<int32_t> expectedFirst;
    std::vector<int32_t> expectedSecond;
    for (int32_t i = 0; i < 300; ++i) {
        ASSERT_EQ(android::OK, sendRecord(firstProxy, i));
        ASSERT_EQ(android::OK, sendRecord(secondProxy, -i));
        expectedFirst.push_back(i);
        expectedSecond.push_back(-i);
    }
    waitForIdle();
    EXPECT_EQ(expectedFirst, first->observed().recorded);
    EXPECT_EQ(expectedSecond, second->observed().recorded);
    EXPECT_TRUE(first->observed().allOnBinderThreads);
    EXPECT_FALSE(isBinderThread());
}

TEST_F(DriverTransactions, NodesReleaseTheirObjectWhenTheLastReferenceGoes) {
    wp<TestService> weak;
    {
        sp<TestService> service = new TestService();
        weak = service;
        const sp<IBinder> proxy = registerService("svc", service);
        service.clear();
        EXPECT_EQ(1u, android::hostbinder::nodeCount());
        android::hostbinder::clearServices();
        EXPECT_NE(nullptr, weak.promote());  // the proxy still refers to it
    }
    EXPECT_EQ(nullptr, weak.promote());
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
                if (checkService("svc") != proxy) ++failures;
            }
        });
    }
    for (auto& thread : threads) thread.join();
    waitForIdle();
    EXPECT_EQ(0, failures.load());
    EXPECT_EQ(400u, service->observed().recorded.size());
}

class RecordingRecipient : public IBinder::DeathRecipient {
public:
    void binderDied(const wp<IBinder>& who) override {
        onBinderThread = isBinderThread();
        std::lock_guard<std::mutex> guard(mLock);
        mWho.push_back(who.promote());
    }

    std::vector<sp<IBinder>> deaths() {
        std::lock_guard<std::mutex> guard(mLock);
        return mWho;
    }

    std::atomic<bool> onBinderThread{false};

private:
    std::mutex mLock;
    std::vector<sp<IBinder>> mWho;
};

TEST_F(DeathNotification, KilledServiceNotifiesAndAnswersDeadObject) {
    const sp<IBinder> proxy = registerService("svc", new TestService());
    const sp<RecordingRecipient> recipient = new RecordingRecipient();
    const sp<RecordingRecipient> second = new RecordingRecipient();
    ASSERT_EQ(android::OK, proxy->linkToDeath(recipient));
    ASSERT_EQ(android::OK, proxy->linkToDeath(second, reinterpret_cast<void*>(0x1)));

    ASSERT_EQ(android::OK, killService(String16("svc")));
    waitForIdle();
    ASSERT_EQ(1u, recipient->deaths().size());
    EXPECT_EQ(proxy, recipient->deaths()[0]);
    EXPECT_TRUE(recipient->onBinderThread);
    EXPECT_EQ(1u, second->deaths().size());

    EXPECT_FALSE(proxy->isBinderAlive());
    EXPECT_EQ(android::DEAD_OBJECT, proxy->pingBinder());
    std::string answer;
    EXPECT_EQ(android::DEAD_OBJECT, callEcho(proxy, "hello", &answer));
    EXPECT_EQ(android::DEAD_OBJECT, sendRecord(proxy, 1));
    EXPECT_EQ(android::DEAD_OBJECT, proxy->linkToDeath(recipient));
    EXPECT_EQ(android::DEAD_OBJECT, proxy->unlinkToDeath(recipient));
    EXPECT_EQ(nullptr, checkService("svc"));
    EXPECT_EQ(android::NAME_NOT_FOUND, killService(String16("svc")));
}

TEST_F(DeathNotification, UnlinkedAndReleasedRecipientsAreNotNotified) {
    const sp<IBinder> proxy = registerService("svc", new TestService());
    const sp<RecordingRecipient> unlinked = new RecordingRecipient();
    sp<RecordingRecipient> released = new RecordingRecipient();
    const wp<RecordingRecipient> releasedWeak = released;
    ASSERT_EQ(android::OK, proxy->linkToDeath(unlinked, nullptr, 0));
    ASSERT_EQ(android::OK, proxy->linkToDeath(released));
    EXPECT_EQ(android::NAME_NOT_FOUND, proxy->unlinkToDeath(unlinked, nullptr, 7));
    wp<IBinder::DeathRecipient> out;
    EXPECT_EQ(android::OK, proxy->unlinkToDeath(unlinked, nullptr, 0, &out));
    EXPECT_EQ(unlinked.get(), out.promote().get());
    released.clear();  // recipients are held weakly
    EXPECT_EQ(nullptr, releasedWeak.promote());

    ASSERT_EQ(android::OK, killService(String16("svc")));
    waitForIdle();
    EXPECT_TRUE(unlinked->deaths().empty());
}

TEST_F(DeathNotification, KillingAnObjectRemovesAllItsNamesWhichCanBeRegisteredAgain) {
    const sp<TestService> original = new TestService();
    const sp<IBinder> dead = registerService("one", original);
    registerService("two", original);
    ASSERT_EQ(android::OK, android::hostbinder::killBinder(original));
    EXPECT_EQ(nullptr, checkService("one"));
    EXPECT_EQ(nullptr, checkService("two"));
    EXPECT_EQ(android::BAD_VALUE, android::hostbinder::killBinder(nullptr));

    const sp<IBinder> replacement = registerService("one", new TestService());
    ASSERT_NE(nullptr, replacement);
    EXPECT_NE(dead, replacement);
    std::string answer;
    EXPECT_EQ(android::OK, callEcho(replacement, "again", &answer));
    EXPECT_EQ("again", answer);

    // The same object registered anew gets a fresh, live node.
    const sp<IBinder> revived = registerService("other", original);
    EXPECT_NE(dead, revived);
    EXPECT_TRUE(revived->isBinderAlive());
    EXPECT_FALSE(dead->isBinderAlive());
}

TEST_F(DeathNotification, RecipientMayCallBackIntoTheRuntime) {
    const sp<IBinder> proxy = registerService("svc", new TestService());
    struct Reconnecting : public IBinder::DeathRecipient {
        std::atomic<bool> sawNameGone{false};
        void binderDied(const wp<IBinder>&) override {
            sawNameGone = checkService("svc") == nullptr;
        }
    };
    const sp<Reconnecting> recipient = new Reconnecting();
    ASSERT_EQ(android::OK, proxy->linkToDeath(recipient));
    ASSERT_EQ(android::OK, killService(String16("svc")));
    waitForIdle();
    EXPECT_TRUE(recipient->sawNameGone);
}

TEST_F(DeathNotification, DeathRacingWithCallsAndLinks) {
    const sp<IBinder> proxy = registerService("svc", new TestService());
    std::atomic<bool> stop{false};
    std::atomic<int> unexpected{0};
    std::vector<sp<RecordingRecipient>> linked;
    std::mutex linkedLock;
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t) {
        threads.emplace_back([&] {
            while (!stop) {
                std::string answer;
                const status_t status = callEcho(proxy, "x", &answer);
                if (status != android::OK && status != android::DEAD_OBJECT) ++unexpected;
                sendRecord(proxy, 1);
                sp<RecordingRecipient> recipient = new RecordingRecipient();
                if (proxy->linkToDeath(recipient) == android::OK) {
                    std::lock_guard<std::mutex> guard(linkedLock);
                    linked.push_back(recipient);
                }
            }
        });
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(android::OK, killService(String16("svc")));  // not ASSERT: the threads must join
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    stop = true;
    for (auto& thread : threads) thread.join();
    waitForIdle();
    EXPECT_EQ(0, unexpected.load());
    // Every successful link before the death got exactly one notice.
    std::lock_guard<std::mutex> guard(linkedLock);
    for (const auto& recipient : linked) EXPECT_EQ(1u, recipient->deaths().size());
}

}  // namespace
