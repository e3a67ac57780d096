// The in-process driver: two-way copies and errors, proxies and node lifetime, and death of a
// service while other threads call, send one-way calls and link (notices, DEAD_OBJECT, names
// registered again).

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

#include "Recorded.h"
#include "WaitUntil.h"

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
using testsupport::waitUntil;

enum : uint32_t {
    ECHO = IBinder::FIRST_CALL_TRANSACTION,
    FAIL_WITH_BAD_VALUE,
    RECORD_ONEWAY,
    ECHO_BINDER,
};

status_t callEcho(const sp<IBinder>& binder, const std::string& text, std::string* answer) {
    Parcel data;
    Parcel reply;
    data.writeUtf8AsUtf16(text);
    if (status_t status = binder->transact(ECHO, data, &reply); status != android::OK) {
        return status;
    }
    return reply.readUtf8FromUtf16(answer);
}

status_t sendRecord(const sp<IBinder>& binder, int32_t value) {
    Parcel data;
    data.writeInt32(value);
    return binder->transact(RECORD_ONEWAY, data, nullptr, IBinder::FLAG_ONEWAY);
}

class TestService : public android::BBinder {
public:
    std::vector<int32_t> recorded() { return mRecorded.all(); }
    std::atomic<const uint8_t*> lastRequestData{nullptr};
    std::atomic<bool> allOnBinderThreads{true};

protected:
    status_t onTransact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags) override {
        if (code < FIRST_CALL_TRANSACTION || code > LAST_CALL_TRANSACTION) {
            return BBinder::onTransact(code, data, reply, flags);
        }
        lastRequestData = data.data();
        switch (code) {
            case ECHO:
                return reply->writeString16(data.readString16());
            case FAIL_WITH_BAD_VALUE:
                reply->writeInt32(99);  // must not reach the caller
                return android::BAD_VALUE;
            case RECORD_ONEWAY: {
                if (!isBinderThread()) allOnBinderThreads = false;
                mRecorded.add(data.readInt32());
                return android::OK;
            }
            case ECHO_BINDER:
                return reply->writeStrongBinder(data.readStrongBinder());
            default:
                return android::UNKNOWN_TRANSACTION;
        }
    }

private:
    testsupport::Recorded<int32_t> mRecorded;
};

sp<IBinder> checkService(const char* name) {
    return android::defaultServiceManager()->checkService(String16(name));
}

sp<IBinder> registerService(const char* name, const sp<IBinder>& service) {
    EXPECT_EQ(android::OK, android::defaultServiceManager()->addService(String16(name), service));
    return checkService(name);
}

// Starting from an empty registry keeps the cases independent in one process too.
class Driver : public ::testing::Test {
protected:
    void SetUp() override {
        android::hostbinder::clearServices();
        waitForIdle();
    }
};

TEST_F(Driver, CallsCopyParcelsDropFailedRepliesAndTurnBindersIntoProxiesThatKeepThemAlive) {
    const sp<TestService> service = new TestService();
    const sp<IBinder> proxy = registerService("svc", service);
    ASSERT_NE(nullptr, proxy);
    Parcel data;
    Parcel reply;
    data.writeUtf8AsUtf16(std::string("h\xC3\xA9llo"));
    ASSERT_EQ(android::OK, proxy->transact(ECHO, data, &reply));
    EXPECT_NE(data.data(), service->lastRequestData.load());  // the callee got its own copy
    EXPECT_EQ(0u, reply.dataPosition());
    std::string answer;
    ASSERT_EQ(android::OK, reply.readUtf8FromUtf16(&answer));
    EXPECT_EQ("h\xC3\xA9llo", answer);

    EXPECT_EQ(android::BAD_VALUE, proxy->transact(FAIL_WITH_BAD_VALUE, Parcel(), &reply));
    EXPECT_EQ(0u, reply.dataSize());  // what the stub wrote before failing is not delivered
    EXPECT_EQ(android::UNKNOWN_TRANSACTION,
              proxy->transact(IBinder::LAST_CALL_TRANSACTION + 5, Parcel(), &reply));

    const sp<TestService> callback = new TestService();
    auto echoBinder = [&](const sp<IBinder>& binder) {
        Parcel data;
        Parcel reply;
        data.writeStrongBinder(binder);
        EXPECT_EQ(android::OK, proxy->transact(ECHO_BINDER, data, &reply));
        return reply.readStrongBinder();
    };
    EXPECT_NE(nullptr, echoBinder(callback)->remoteBinder());

    // A node keeps its object alive exactly as long as a proxy refers to it.
    {
        sp<TestService> object = new TestService();
        const wp<TestService> weak = object;
        sp<IBinder> remote = echoBinder(object);
        ASSERT_NE(nullptr, remote);
        object.clear();
        EXPECT_NE(nullptr, weak.promote());
        remote.clear();
        EXPECT_EQ(nullptr, weak.promote());
    }

    // A local object's bytes rewritten as a handle are refused, not looked up.
    Parcel tampered;
    tampered.writeStrongBinder(callback);
    tampered.setDataPosition(0);
    tampered.writeInt32(0x73682A85);
    EXPECT_EQ(android::FAILED_TRANSACTION, proxy->transact(ECHO_BINDER, tampered, &reply));
}

class RecordingRecipient : public IBinder::DeathRecipient {
public:
    void binderDied(const wp<IBinder>& who) override {
        onBinderThread = isBinderThread();
        nameGone = checkService("svc") == nullptr;  // the runtime may be called from here
        mWho.add(who.promote());
    }
    std::vector<sp<IBinder>> deaths() { return mWho.all(); }
    std::atomic<bool> onBinderThread{false};
    std::atomic<bool> nameGone{false};

private:
    testsupport::Recorded<sp<IBinder>> mWho;
};

// Senders call, send one-way records and link while the service dies: one-way calls keep
// their order per sender and run on binder threads, every link made before the death gets
// exactly one notice on a binder thread, and afterwards the proxy answers DEAD_OBJECT.
TEST_F(Driver, AKilledServiceNotifiesEachLinkOnceAndAnswersDeadObjectAlsoUnderRacingCalls) {
    constexpr int32_t kPerSender = 1 << 24;
    const sp<TestService> service = new TestService();
    const sp<IBinder> proxy = registerService("svc", service);
    registerService("alias", service);
    const sp<RecordingRecipient> unlinked = new RecordingRecipient();
    sp<RecordingRecipient> released = new RecordingRecipient();
    const wp<RecordingRecipient> releasedWeak = released;
    ASSERT_EQ(android::OK, proxy->linkToDeath(unlinked, reinterpret_cast<void*>(0x1)));
    ASSERT_EQ(android::OK, proxy->linkToDeath(released));
    EXPECT_EQ(android::NAME_NOT_FOUND, proxy->unlinkToDeath(unlinked, nullptr, 7));  // flags
    EXPECT_EQ(android::OK, proxy->unlinkToDeath(unlinked));
    released.clear();  // recipients are held weakly
    EXPECT_EQ(nullptr, releasedWeak.promote());

    std::atomic<bool> stop{false};
    std::atomic<int> afterDeath{0};
    std::atomic<int> unexpected{0};
    std::vector<sp<RecordingRecipient>> linked;  // guarded by linkedLock
    std::mutex linkedLock;
    std::vector<std::thread> threads;
    for (int32_t t = 0; t < 3; ++t) {
        threads.emplace_back([&, t] {
            for (int32_t i = t * kPerSender; !stop; ++i) {
                std::string answer;
                const status_t status = callEcho(proxy, "x", &answer);
                if (status != android::OK && status != android::DEAD_OBJECT) ++unexpected;
                if (status != android::OK) ++afterDeath;
                sendRecord(proxy, i);
                sp<RecordingRecipient> recipient = new RecordingRecipient();
                if (proxy->linkToDeath(recipient) == android::OK) {
                    std::lock_guard<std::mutex> guard(linkedLock);
                    linked.push_back(recipient);
                }
            }
        });
    }
    // Not ASSERT: the threads must be joined.
    EXPECT_TRUE(waitUntil([&] { return service->recorded().size() >= 30; }));
    EXPECT_EQ(android::OK, killService(String16("svc")));
    EXPECT_TRUE(waitUntil([&] { return afterDeath.load() >= 30; }));
    stop = true;
    for (auto& thread : threads) thread.join();
    waitForIdle();
    EXPECT_EQ(0, unexpected.load());
    std::vector<int32_t> last(3, -1);
    for (int32_t value : service->recorded()) {
        EXPECT_LT(last[static_cast<size_t>(value / kPerSender)], value);
        last[static_cast<size_t>(value / kPerSender)] = value;
    }
    EXPECT_TRUE(service->allOnBinderThreads.load());
    {
        std::lock_guard<std::mutex> guard(linkedLock);
        ASSERT_FALSE(linked.empty());
        for (const auto& recipient : linked) {
            ASSERT_EQ(1u, recipient->deaths().size());
            EXPECT_EQ(proxy, recipient->deaths()[0]);
            EXPECT_TRUE(recipient->onBinderThread);
            EXPECT_TRUE(recipient->nameGone);
        }
    }
    EXPECT_TRUE(unlinked->deaths().empty());
    EXPECT_EQ(nullptr, checkService("alias"));  // every name of the object goes with it
    EXPECT_EQ(android::NAME_NOT_FOUND, killService(String16("svc")));
    EXPECT_FALSE(proxy->isBinderAlive());
    EXPECT_EQ(android::DEAD_OBJECT, sendRecord(proxy, 1));
    EXPECT_EQ(android::DEAD_OBJECT, proxy->linkToDeath(unlinked));
    EXPECT_EQ(android::DEAD_OBJECT, proxy->unlinkToDeath(unlinked));

    // The same object registered again gets a fresh, live node.
    const sp<IBinder> revived = registerService("svc", service);
    EXPECT_NE(proxy, revived);
    std::string answer;
    EXPECT_EQ(android::OK, callEcho(revived, "again", &answer));
    EXPECT_EQ("again", answer);
}

}  // namespace
