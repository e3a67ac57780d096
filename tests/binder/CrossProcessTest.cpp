// Binder calls between real processes of one host device: the service manager, objects and
// their lifetime, nested and one-way calls, the transaction limit, process death (also a storm
// of device-config service deaths under readers), hostile peers, and the frame decoder every
// receiver relies on.

#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <binder/Binder.h>
#include <binder/IPCThreadState.h>
#include <binder/IServiceManager.h>
#include <binder/Parcel.h>
#include <binder_host/HostBinder.h>
#include <deviceconfig/DeviceConfig.h>
#include <deviceconfig_host/HostDeviceConfigService.h>

#include "WaitUntil.h"
#include "CrossProcess.h"
#include "FlatBinder.h"
#include "HelperProcess.h"
#include "Wire.h"

namespace {

using android::IBinder;
using android::Parcel;
using android::sp;
using android::String16;
using testsupport::waitUntil;
using namespace crossprocess;
using namespace std::chrono_literals;

const char* const kDeviceConfigName = com::halcyon::deviceconfig::host::kDeviceConfigServiceName;

sp<IBinder> checkService(const char* name) {
    return android::defaultServiceManager()->checkService(String16(name));
}

size_t openDescriptors() {
    using std::filesystem::directory_iterator;
    return static_cast<size_t>(std::distance(directory_iterator("/proc/self/fd"), {}));
}

// A local object that answers kCallBack with the thread it ran on.
class Callback : public android::BBinder {
public:
    std::atomic<pid_t> callerPid{0};

protected:
    android::status_t onTransact(uint32_t code, const Parcel& data, Parcel* reply,
                                 uint32_t flags) override {
        if (code != kCallBack) return BBinder::onTransact(code, data, reply, flags);
        callerPid = android::IPCThreadState::self()->getCallingPid();
        return reply->writeInt32(gettid());
    }
};

struct Echo {
    HelperProcess process{helper({"echo"})};
    sp<IBinder> binder;

    Echo() {
        if (process.readLine() == "ready") binder = checkService(kEchoName);
    }

    android::status_t call(uint32_t code, const Parcel& data, Parcel* reply) {
        return binder->transact(code, data, reply);
    }
    sp<IBinder> roundTrip(const sp<IBinder>& object, uint32_t code = kEchoBinder) {
        Parcel data;
        Parcel reply;
        data.writeStrongBinder(object);
        if (call(code, data, &reply) != android::OK) return nullptr;
        return reply.readStrongBinder();
    }
};

class DeathCounter : public IBinder::DeathRecipient {
public:
    void binderDied(const android::wp<IBinder>&) override {
        onBinderThread = android::hostbinder::isBinderThread();
        ++deaths;
    }
    std::atomic<int> deaths{0};
    std::atomic<bool> onBinderThread{false};
};

TEST(CrossProcess, ObjectsCrossProcessesAndGoWithTheProcessThatServesThem) {
    auto echo = std::make_unique<Echo>();
    ASSERT_NE(nullptr, echo->binder);
    ASSERT_NE(nullptr, echo->binder->remoteBinder());
    auto sm = android::defaultServiceManager();
    const auto names = sm->listServices();
    EXPECT_TRUE(std::any_of(names.begin(), names.end(),
                            [](const String16& name) { return name == String16(kEchoName); }));
    EXPECT_EQ(echo->binder, sm->getService(String16(kEchoName)));  // one proxy per node

    Parcel none;
    Parcel reply;
    ASSERT_EQ(android::OK, echo->call(kWhoCalls, none, &reply));
    EXPECT_EQ(getpid(), reply.readInt32());
    EXPECT_EQ(static_cast<int32_t>(getuid()), reply.readInt32());
    EXPECT_EQ(echo->process.pid(), reply.readInt32());

    // Our own object comes back as itself, also from our own registration.
    sp<IBinder> mine = new Callback();
    EXPECT_EQ(mine.get(), echo->roundTrip(mine).get());
    ASSERT_EQ(android::OK, sm->addService(String16("test.local"), mine));
    EXPECT_EQ(mine.get(), checkService("test.local").get());
    EXPECT_EQ(nullptr, checkService("test.absent"));

    // A node lives while another process holds it, and only that long: until it lets go...
    const size_t nodesBefore = android::hostbinder::nodeCount();
    sp<IBinder> held = new Callback();
    android::wp<IBinder> weak = held;
    ASSERT_EQ(nullptr, echo->roundTrip(held, kHold));
    held.clear();
    EXPECT_NE(nullptr, weak.promote());
    echo->roundTrip(nullptr, kHold);
    EXPECT_TRUE(waitUntil([&] { return weak.promote() == nullptr; }, 30s));
    EXPECT_TRUE(waitUntil([&] { return android::hostbinder::nodeCount() == nodesBefore; }, 30s));

    // ... or dies, taking its names with it and leaving a proxy that answers DEAD_OBJECT.
    held = new Callback();
    weak = held;
    ASSERT_EQ(nullptr, echo->roundTrip(held, kHold));
    held.clear();
    sp<DeathCounter> counter = new DeathCounter();
    ASSERT_EQ(android::OK, echo->binder->linkToDeath(counter));
    const sp<IBinder> old = echo->binder;
    echo->process.kill();
    ASSERT_TRUE(waitUntil([&] { return counter->deaths.load() == 1; }, 30s));
    android::hostbinder::waitForIdle();
    EXPECT_EQ(1, counter->deaths.load());
    EXPECT_TRUE(counter->onBinderThread.load());
    EXPECT_FALSE(old->isBinderAlive());
    EXPECT_EQ(android::DEAD_OBJECT, old->transact(kWhoCalls, none, &reply));
    EXPECT_EQ(android::DEAD_OBJECT, old->linkToDeath(counter));
    EXPECT_TRUE(waitUntil([&] { return weak.promote() == nullptr; }, 30s));
    EXPECT_TRUE(waitUntil([&] { return android::hostbinder::nodeCount() == nodesBefore; }, 30s));
    EXPECT_TRUE(waitUntil([&] { return checkService(kEchoName) == nullptr; }, 30s));

    echo = std::make_unique<Echo>();
    ASSERT_NE(nullptr, echo->binder);
    EXPECT_NE(old, echo->binder);
    EXPECT_EQ(android::OK, echo->call(kWhoCalls, none, &reply));
}

TEST(CrossProcess, NestedCallsRunOnTheWaitingThreadOneWayCallsInOrderOversizedOnesNowhere) {
    Echo echo;
    ASSERT_NE(nullptr, echo.binder);
    sp<Callback> callback = new Callback();
    Parcel data;
    Parcel reply;
    data.writeStrongBinder(callback);
    ASSERT_EQ(android::OK, echo.call(kCallBack, data, &reply));
    EXPECT_EQ(gettid(), reply.readInt32());
    EXPECT_EQ(echo.process.pid(), callback->callerPid.load());

    constexpr int32_t kCalls = 300;
    for (int32_t i = 0; i < kCalls; ++i) {
        Parcel record;
        record.writeInt32(i);
        ASSERT_EQ(android::OK,
                  echo.binder->transact(kRecord, record, nullptr, IBinder::FLAG_ONEWAY));
    }
    std::vector<int32_t> records;
    ASSERT_TRUE(waitUntil(
            [&] {
                Parcel none;
                Parcel answer;
                if (echo.call(kRecords, none, &answer) != android::OK) return false;
                records.resize(static_cast<size_t>(answer.readInt32()));
                for (int32_t& value : records) value = answer.readInt32();
                return records.size() == kCalls;
            },
            30s));
    for (int32_t i = 0; i < kCalls; ++i) ASSERT_EQ(i, records[static_cast<size_t>(i)]);

    // A transaction over the buffer fails and delivers nothing.
    const std::vector<uint8_t> bytes(wire::kMaxTransactionBytes + 4, 0x5a);
    Parcel fits;
    fits.write(bytes.data(), wire::kMaxTransactionBytes);
    ASSERT_EQ(android::OK, echo.call(kSize, fits, &reply));
    EXPECT_EQ(static_cast<int32_t>(wire::kMaxTransactionBytes), reply.readInt32());

    Parcel tooBig;
    tooBig.write(bytes.data(), bytes.size());
    EXPECT_EQ(android::FAILED_TRANSACTION, echo.call(kSize, tooBig, &reply));
    ASSERT_EQ(android::OK, echo.call(kRecords, Parcel(), &reply));
    reply.setDataPosition(4 * (kCalls + 1));
    EXPECT_EQ(1, reply.readInt32());  // only the first kSize arrived
}

TEST(CrossProcess, AHostilePeerIsCutOffWhileEveryoneElseGoesOn) {
    Echo echo;
    ASSERT_NE(nullptr, echo.binder);
    HelperProcess hostile(helper({"hostile", "3000", gDevice->socket("servicemanager"),
                                  gDevice->socket(echo.process.pid()), gDevice->socket(getpid())}));
    ASSERT_EQ("ready", hostile.readLine());
    std::atomic<bool> done{false};
    std::thread waiter([&] {
        EXPECT_EQ("done", hostile.readLine(120s));
        done = true;
    });
    // A handle never given out, an object entry off its flat object, a truncated frame: each
    // from another process, each cut off.
    HelperProcess forger(helper({"forge", gDevice->socket(echo.process.pid())}));
    EXPECT_EQ("closed closed closed", forger.readLine());

    // Not ASSERT inside: the waiter must be joined.
    sp<Callback> callback = new Callback();
    for (int calls = 0; !done || calls < 20; ++calls) {
        Parcel data;
        Parcel reply;
        data.writeStrongBinder(callback);
        if (echo.call(kCallBack, data, &reply) != android::OK || reply.readInt32() != gettid() ||
            checkService(kEchoName) == nullptr) {
            ADD_FAILURE() << "call " << calls << " failed under the hostile peer";
            break;
        }
    }
    waiter.join();
}

// The device-config client's readers while a service process is started and SIGKILLed a
// thousand times: each answer is the service's or the default, and nothing is left behind.
TEST(CrossProcess, DeviceConfigReadersSurviveADeathStormAndNothingIsLeftBehind) {
    using com::halcyon::deviceconfig::DeviceConfig;
    constexpr int kCycles = 1000;
    const auto read = [](DeviceConfig& config) {
        return config.getProperties("ns", {"key"}).getString("key", "default");
    };
    {
        // The first contact opens what stays open for the process (service manager channel).
        HelperProcess service(helper({"deviceconfig"}));
        ASSERT_EQ("ready", service.readLine());
        DeviceConfig warmUp;
        ASSERT_EQ("value", read(warmUp));
    }
    ASSERT_TRUE(waitUntil([] { return checkService(kDeviceConfigName) == nullptr; }, 30s));
    const size_t nodesBefore = android::hostbinder::nodeCount();
    const size_t descriptorsBefore = openDescriptors();

    std::atomic<bool> stop{false};
    std::atomic<int> reads{0};
    std::atomic<int> served{0};
    std::atomic<int> wrong{0};
    std::vector<std::thread> readers;
    for (int i = 0; i < 4; ++i) {
        readers.emplace_back([&] {
            while (!stop) {
                DeviceConfig config;
                for (int n = 0; n < 8 && !stop; ++n, ++reads) {
                    const std::string value = read(config);
                    served += value == "value";
                    wrong += value != "value" && value != "default";
                }
            }
        });
    }
    const auto start = std::chrono::steady_clock::now();
    auto storm = std::make_unique<HelperProcess>(helper({"storm", std::to_string(kCycles)}));
    const std::string outcome = storm->readLine(900s);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    stop = true;
    for (std::thread& reader : readers) reader.join();
    ASSERT_EQ("done", outcome);
    storm.reset();  // its pipe is one of the descriptors counted below
    EXPECT_EQ(0, wrong.load());
    std::printf("death storm: %d cycles in %.1f s, %d reads (%d from the service)\n", kCycles,
                took.count(), reads.load(), served.load());

    EXPECT_TRUE(waitUntil([&] { return android::hostbinder::nodeCount() <= nodesBefore; }, 30s));
    // A connection the client had before the storm may since have closed; none may be left over.
    EXPECT_TRUE(waitUntil([&] { return openDescriptors() <= descriptorsBefore; }, 30s))
            << openDescriptors() << " descriptors open, " << descriptorsBefore << " before";
}

// --- the frame decoder -------------------------------------------------------------------

TEST(Wire, DecodeFrameRefusesWhatReceiversRelyOn) {
    using android::hostbinder::kTypeBinder;
    using android::hostbinder::kTypeHandle;
    const auto handleAt8 = withWordAt(std::vector<uint8_t>(40), 8, kTypeHandle);
    const auto good = transactionFrame(handleAt8, {{8, 3, 100, 0}});
    const auto decoded = wire::decodeFrame(good.data(), good.size());
    ASSERT_TRUE(decoded.valid);
    EXPECT_EQ(7u, decoded.node);
    EXPECT_EQ(40u, decoded.dataSize);
    EXPECT_EQ(1u, decoded.objectCount);

    // A frame header, then zeros up to `size` bytes in all.
    const auto bare = [](uint32_t length, uint32_t command, size_t size) {
        return withWordAt(withWordAt(std::vector<uint8_t>(size), 0, length), 4, command);
    };
    const auto twoObjects =
            withWordAt(withWordAt(std::vector<uint8_t>(64), 8, kTypeHandle), 32, kTypeBinder);
    const std::vector<std::vector<uint8_t>> refused = {
            {good.begin(), good.end() - 1},
            bare(0, wire::kHello, 9),                            // trailing byte
            bare(0, 9, 8),                                       // unknown command
            bare(wire::kMaxPayload + 1, wire::kTransaction, 8),  // huge
            bare(sizeof(wire::RefHead), wire::kRelease, 8 + sizeof(wire::RefHead)),  // count 0
            {1, 2, 3},
            transactionFrame(handleAt8, {{6, 3, 100, 0}}),                // misaligned
            transactionFrame(handleAt8, {{12, 3, 100, 0}}),               // not an object
            transactionFrame(handleAt8, {{24, 3, 100, 0}}),               // runs past
            transactionFrame(handleAt8, {{8, 3, 0, 0}}),                  // no owner
            transactionFrame(twoObjects, {{32, 1, 5, 0}, {8, 1, 5, 0}}),  // order
            transactionFrame(twoObjects, {{8, 1, 5, 0}, {28, 1, 5, 0}}),  // overlap
            transactionFrame(std::vector<uint8_t>(wire::kMaxTransactionBytes + 4), {}),
    };
    for (size_t i = 0; i < refused.size(); ++i) {
        EXPECT_FALSE(wire::decodeFrame(refused[i].data(), refused[i].size()).valid) << "case " << i;
    }
}

}  // namespace
