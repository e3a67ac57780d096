// Death of a service: notices, DEAD_OBJECT, and registering the name again.

#include <atomic>
#include <mutex>
#include <thread>

#include <gtest/gtest.h>

#include <binder/IServiceManager.h>
#include <binder/Parcel.h>
#include <binder_host/HostBinder.h>

#include "DriverTestSupport.h"

namespace {

using android::IBinder;
using android::sp;
using android::String16;
using android::wp;
using binder_test::callEcho;
using binder_test::sendRecord;
using binder_test::TestService;

class RecordingRecipient : public IBinder::DeathRecipient {
public:
    void binderDied(const wp<IBinder>& who) override {
        std::lock_guard<std::mutex> guard(mLock);
        mWho.push_back(who.promote());
        mOnBinderThread = android::hostbinder::isBinderThread();
    }

    std::vector<sp<IBinder>> deaths() {
        std::lock_guard<std::mutex> guard(mLock);
        return mWho;
    }

    bool onBinderThread() {
        std::lock_guard<std::mutex> guard(mLock);
        return mOnBinderThread;
    }

private:
    std::mutex mLock;
    std::vector<sp<IBinder>> mWho;
    bool mOnBinderThread = false;
};

sp<IBinder> registerService(const char* name, const sp<TestService>& service) {
    EXPECT_EQ(android::OK, android::defaultServiceManager()->addService(String16(name), service));
    return android::defaultServiceManager()->checkService(String16(name));
}

// Each case normally has a process of its own; starting from an empty registry also
// keeps repeated runs in one process meaningful.
class DeathNotification : public ::testing::Test {
protected:
    void SetUp() override {
        android::hostbinder::clearServices();
        android::hostbinder::waitForIdle();
    }
};

TEST_F(DeathNotification, KilledServiceNotifiesAndAnswersDeadObject) {
    const sp<IBinder> proxy = registerService("svc", new TestService());
    const sp<RecordingRecipient> recipient = new RecordingRecipient();
    const sp<RecordingRecipient> second = new RecordingRecipient();
    ASSERT_EQ(android::OK, proxy->linkToDeath(recipient));
    ASSERT_EQ(android::OK, proxy->linkToDeath(second, reinterpret_cast<void*>(0x1)));

    ASSERT_EQ(android::OK, android::hostbinder::killService(String16("svc")));
    android::hostbinder::waitForIdle();

    ASSERT_EQ(1u, recipient->deaths().size());
    EXPECT_EQ(proxy, recipient->deaths()[0]);
    EXPECT_TRUE(recipient->onBinderThread());
    EXPECT_EQ(1u, second->deaths().size());

    EXPECT_FALSE(proxy->isBinderAlive());
    EXPECT_EQ(android::DEAD_OBJECT, proxy->pingBinder());
    std::string answer;
    EXPECT_EQ(android::DEAD_OBJECT, callEcho(proxy, "hello", &answer));
    EXPECT_EQ(android::DEAD_OBJECT, sendRecord(proxy, 1));
    EXPECT_EQ(android::DEAD_OBJECT, proxy->linkToDeath(recipient));
    EXPECT_EQ(android::DEAD_OBJECT, proxy->unlinkToDeath(recipient));
    EXPECT_EQ(nullptr, android::defaultServiceManager()->checkService(String16("svc")));
    EXPECT_EQ(android::NAME_NOT_FOUND, android::hostbinder::killService(String16("svc")));
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

    ASSERT_EQ(android::OK, android::hostbinder::killService(String16("svc")));
    android::hostbinder::waitForIdle();
    EXPECT_TRUE(unlinked->deaths().empty());
}

TEST_F(DeathNotification, NameCanBeRegisteredAgainAfterDeath) {
    const sp<TestService> original = new TestService();
    const sp<IBinder> dead = registerService("svc", original);
    ASSERT_EQ(android::OK, android::hostbinder::killService(String16("svc")));

    const sp<IBinder> replacement = registerService("svc", new TestService());
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

TEST_F(DeathNotification, KillingAnObjectRemovesAllItsNames) {
    const sp<TestService> service = new TestService();
    registerService("one", service);
    registerService("two", service);
    EXPECT_EQ(android::OK, android::hostbinder::killBinder(service));
    EXPECT_EQ(nullptr, android::defaultServiceManager()->checkService(String16("one")));
    EXPECT_EQ(nullptr, android::defaultServiceManager()->checkService(String16("two")));
    EXPECT_EQ(android::BAD_VALUE, android::hostbinder::killBinder(nullptr));
}

TEST_F(DeathNotification, RecipientMayCallBackIntoTheRuntime) {
    const sp<IBinder> proxy = registerService("svc", new TestService());
    struct Reconnecting : public IBinder::DeathRecipient {
        std::atomic<bool> reconnected{false};
        void binderDied(const wp<IBinder>&) override {
            reconnected = android::defaultServiceManager()->checkService(String16("svc")) == nullptr;
        }
    };
    const sp<Reconnecting> recipient = new Reconnecting();
    ASSERT_EQ(android::OK, proxy->linkToDeath(recipient));
    ASSERT_EQ(android::OK, android::hostbinder::killService(String16("svc")));
    android::hostbinder::waitForIdle();
    EXPECT_TRUE(recipient->reconnected);
}

TEST_F(DeathNotification, DeathRacingWithCallsAndLinks) {
    const sp<IBinder> proxy = registerService("svc", new TestService());
    std::atomic<bool> stop{false};
    std::atomic<int> linkedAfterDeath{0};
    std::vector<sp<RecordingRecipient>> linked;
    std::mutex linkedLock;
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t) {
        threads.emplace_back([&] {
            while (!stop) {
                std::string answer;
                const android::status_t status = callEcho(proxy, "x", &answer);
                if (status != android::OK && status != android::DEAD_OBJECT) ++linkedAfterDeath;
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
    ASSERT_EQ(android::OK, android::hostbinder::killService(String16("svc")));
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    stop = true;
    for (auto& thread : threads) thread.join();
    android::hostbinder::waitForIdle();
    EXPECT_EQ(0, linkedAfterDeath.load());
    // Every successful link before the death got exactly one notice.
    std::lock_guard<std::mutex> guard(linkedLock);
    for (const auto& recipient : linked) EXPECT_EQ(1u, recipient->deaths().size());
}

}  // namespace
