// Wire format of the device-config interfaces: Property and list layout, the requests the
// proxies send and the replies the stubs write, checked byte for byte.
#include <com/halcyon/deviceconfig/aidl/BnDeviceConfig.h>
#include <com/halcyon/deviceconfig/aidl/BnOnPropertiesChangeListener.h>
#include <com/halcyon/deviceconfig/aidl/BpDeviceConfig.h>
#include <com/halcyon/deviceconfig/aidl/BpOnPropertiesChangeListener.h>
#include <deviceconfig/aidl/PropertyListParcel.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>

#include "ParcelBytes.h"

namespace {

using android::Parcel;
using android::sp;
using android::binder::Status;
using namespace com::halcyon::deviceconfig::aidl;
using namespace deviceconfigtest;
using testing::_;
using testing::DoAll;
using testing::ElementsAre;
using testing::Return;
using testing::SetArgPointee;

TEST(PropertyWire, WritesSizedPropertiesAndCountedMarkedLists) {
    Parcel property;
    ASSERT_EQ(android::OK, prop("k", "v").writeToParcel(&property));
    EXPECT_EQ("14000000010000006b0000000100000076000000", hexOf(property));
    EXPECT_EQ(property.dataSize(), property.dataPosition());

    Parcel list;
    ASSERT_EQ(android::OK, writePropertyList(&list, {prop("k", "v")}));
    EXPECT_EQ("010000000100000014000000010000006b0000000100000076000000", hexOf(list));
    Parcel empty;
    ASSERT_EQ(android::OK, writePropertyList(&empty, {}));
    EXPECT_EQ("00000000", hexOf(empty));
}

TEST(PropertyParcel, TheSizeWordDecidesHowMuchIsRead) {
    // A newer writer's extra fields are skipped whole.
    Parcel newer;
    Bytes().property("a", "1", 3).i32(0x1234).into(&newer);
    Property read;
    ASSERT_EQ(android::OK, read.readFromParcel(&newer));
    EXPECT_EQ(prop("a", "1"), read);
    int32_t next = 0;
    ASSERT_EQ(android::OK, newer.readInt32(&next));
    EXPECT_EQ(0x1234, next);

    // An older writer's missing fields are left as they were, and reading stops at the size.
    Parcel onlyKey;
    Bytes().i32(12).str("ab").i32(0x1234).into(&onlyKey);
    Property older = prop("old", "kept");
    ASSERT_EQ(android::OK, older.readFromParcel(&onlyKey));
    EXPECT_EQ(prop("ab", "kept"), older);
    EXPECT_EQ(12u, onlyKey.dataPosition());
}

TEST(PropertyParcel, RefusesHostileSizesAndReportsFieldErrorsAsTheyAre) {
    const struct {
        Bytes bytes;
        size_t start;
        android::status_t expected;
    } cases[] = {
            {Bytes().i32(-8).str("k").str("v"), 0, android::BAD_VALUE},
            {Bytes().i32(0).i32(INT32_MAX).str("k").str("v"), 4, android::BAD_VALUE},  // overflows
            {Bytes().i32(12).i32(-1).i32(0), 0, android::UNEXPECTED_NULL},             // null key
            {Bytes(), 0, android::NOT_ENOUGH_DATA},
    };
    for (const auto& c : cases) {
        Parcel parcel;
        c.bytes.into(&parcel);
        parcel.setDataPosition(c.start);
        Property p;
        EXPECT_EQ(c.expected, p.readFromParcel(&parcel)) << c.bytes.hex();
        EXPECT_EQ(prop("", ""), p) << c.bytes.hex();
    }
}

TEST(PropertyList, ReadsExactlyTheCountedElementsPastAnOversizedOne) {
    Parcel parcel;
    Bytes().i32(2).i32(1).property("a", "1", 2).i32(1).property("b", "2").into(&parcel);
    std::vector<Property> list{prop("x", "1"), prop("y", "2"), prop("z", "3")};
    ASSERT_EQ(android::OK, readPropertyList(parcel, &list));
    EXPECT_EQ((std::vector<Property>{prop("a", "1"), prop("b", "2")}), list);
    EXPECT_EQ(0u, parcel.dataAvail());
}

TEST(PropertyList, RefusesNullsBadMarkersAndCountsBeyondTheData) {
    const struct {
        Bytes bytes;
        android::status_t expected;
    } cases[] = {
            {Bytes().i32(-1), android::UNEXPECTED_NULL},  // a null list
            {Bytes().i32(1).i32(0).property("a", "1"), android::UNEXPECTED_NULL},
            {Bytes().i32(1).i32(2).property("a", "1"), android::UNEXPECTED_NULL},
            {Bytes().i32(1).i32(-1).property("a", "1"), android::UNEXPECTED_NULL},
            // Refused before allocating: only 12 bytes follow the count.
            {Bytes().i32(1000).i32(1).i32(4).i32(0), android::BAD_VALUE},
            {Bytes().i32(1).i32(1), android::NOT_ENOUGH_DATA},  // marker, then no body
    };
    for (const auto& c : cases) {
        Parcel parcel;
        c.bytes.into(&parcel);
        std::vector<Property> list{prop("x", "y")};
        EXPECT_EQ(c.expected, readPropertyList(parcel, &list)) << c.bytes.hex();
        if (c.expected == android::BAD_VALUE) {
            EXPECT_EQ(std::vector<Property>{prop("x", "y")}, list);
        }
    }
}

// A remote object that records what a proxy sends and answers with canned reply bytes, so
// proxy tests see the exact request and control the exact reply.
struct ScriptedBinder : android::BBinder {
    android::status_t onTransact(uint32_t code, const Parcel& data, Parcel* reply,
                                 uint32_t flags) override {
        lastCode = code;
        lastFlags = flags;
        lastRequest.assign(data.data(), data.data() + data.dataSize());
        lastRequestObjects = data.objectsCount();
        if (reply != nullptr && !replyBytes.empty())
            reply->setData(replyBytes.data(), replyBytes.size());
        return answer;
    }
    android::status_t answer = android::OK;  // script
    std::vector<uint8_t> replyBytes;
    uint32_t lastCode = 0;  // record
    uint32_t lastFlags = 0;
    std::vector<uint8_t> lastRequest;
    size_t lastRequestObjects = 0;
};

class MockListener : public BnOnPropertiesChangeListener {
public:
    MOCK_METHOD(Status, onPropertiesChanged, (const std::vector<Property>&), (override));
};

class ProxyWire : public testing::Test {
protected:
    sp<ScriptedBinder> remote = new ScriptedBinder();
    sp<IDeviceConfig> proxy = new BpDeviceConfig(remote);
    std::vector<Property> result;
};

TEST_F(ProxyWire, GetPropertiesSendsTokenNamespaceAndKeysThenReadsTheList) {
    remote->replyBytes =
            Bytes().i32(0).i32(2).i32(1).property("a", "1").i32(1).property("b", "2").bytes();
    const Status status = proxy->getProperties("ns", {"x", ""}, &result);
    ASSERT_TRUE(status.isOk()) << status.toString8().c_str();
    EXPECT_EQ(1u, remote->lastCode);
    EXPECT_EQ(0u, remote->lastFlags);
    EXPECT_EQ(Bytes().token(kDeviceConfigDescriptor).str("ns").i32(2).str("x").str("").hex(),
              hexOf(remote->lastRequest));
    EXPECT_EQ((std::vector<Property>{prop("a", "1"), prop("b", "2")}), result);

    ASSERT_TRUE(proxy->getProperties("ns", {}, &result).isOk());
    EXPECT_EQ(Bytes().token(kDeviceConfigDescriptor).str("ns").i32(0).hex(),
              hexOf(remote->lastRequest));
}

TEST_F(ProxyWire, AnExceptionInTheReplyLeavesTheResultUntouched) {
    Bytes reply;  // an exception, then a list that must not be read
    reply.i32(Status::EX_ILLEGAL_STATE).str("boom").i32(0).i32(1).i32(1).property("a", "1");
    remote->replyBytes = reply.bytes();
    result = {prop("keep", "me")};
    const Status status = proxy->getProperties("ns", {"a"}, &result);
    EXPECT_EQ(Status::EX_ILLEGAL_STATE, status.exceptionCode());
    EXPECT_STREQ("boom", status.exceptionMessage().c_str());
    EXPECT_EQ((std::vector<Property>{prop("keep", "me")}), result);
}

TEST_F(ProxyWire, ReplyAndTransportErrorsBecomeTransactionFailures) {
    remote->replyBytes = Bytes().i32(0).i32(-1).bytes();  // null list
    EXPECT_EQ(android::UNEXPECTED_NULL, proxy->getProperties("ns", {}, &result).transactionError());
    remote->replyBytes.clear();  // no Status at all
    EXPECT_EQ(android::NOT_ENOUGH_DATA, proxy->getProperties("ns", {}, &result).transactionError());

    remote->answer = android::DEAD_OBJECT;
    const Status dead = proxy->addOnPropertiesChangeListener("ns", new MockListener());
    EXPECT_EQ(Status::EX_TRANSACTION_FAILED, dead.exceptionCode());
    EXPECT_EQ(android::DEAD_OBJECT, dead.transactionError());
}

TEST_F(ProxyWire, ListenerCallsSendTheBinderAndReadOnlyAStatus) {
    remote->replyBytes = Bytes().i32(0).i32(0x5555).bytes();  // trailing data is not read
    sp<IOnPropertiesChangeListener> listener = new MockListener();

    ASSERT_TRUE(proxy->addOnPropertiesChangeListener("ns", listener).isOk());
    EXPECT_EQ(2u, remote->lastCode);
    EXPECT_EQ(0u, remote->lastFlags);
    const std::string prefix = Bytes().token(kDeviceConfigDescriptor).str("ns").hex();
    EXPECT_EQ(prefix, hexOf(remote->lastRequest).substr(0, prefix.size()));
    EXPECT_EQ(prefix.size() / 2 + 28, remote->lastRequest.size());  // flat object + stability word
    EXPECT_EQ(1u, remote->lastRequestObjects);

    ASSERT_TRUE(proxy->removeOnPropertiesChangeListener(listener).isOk());
    EXPECT_EQ(3u, remote->lastCode);
    EXPECT_EQ(Bytes().token(kDeviceConfigDescriptor).hex().size() / 2 + 28,
              remote->lastRequest.size());

    remote->replyBytes = Bytes().i32(Status::EX_SECURITY).str("denied").i32(0).bytes();
    const Status refused = proxy->removeOnPropertiesChangeListener(listener);
    EXPECT_EQ(Status::EX_SECURITY, refused.exceptionCode());
    EXPECT_STREQ("denied", refused.exceptionMessage().c_str());
}

TEST(ListenerProxy, OnPropertiesChangedIsOneWayAndReadsNoReply) {
    sp<ScriptedBinder> remote = new ScriptedBinder();
    sp<IOnPropertiesChangeListener> proxy = new BpOnPropertiesChangeListener(remote);
    remote->replyBytes = Bytes().i32(Status::EX_ILLEGAL_STATE).bytes();
    ASSERT_TRUE(proxy->onPropertiesChanged({prop("k", "v")}).isOk());
    EXPECT_EQ(1u, remote->lastCode);
    EXPECT_EQ(static_cast<uint32_t>(android::IBinder::FLAG_ONEWAY), remote->lastFlags);
    EXPECT_EQ(Bytes().token(kListenerDescriptor).i32(1).i32(1).property("k", "v").hex(),
              hexOf(remote->lastRequest));

    remote->answer = android::UNKNOWN_TRANSACTION;  // the listener has no default to fall to
    EXPECT_EQ(android::UNKNOWN_TRANSACTION, proxy->onPropertiesChanged({}).transactionError());
}

// A plain fake: the default slot outlives gmock's registry at process exit.
class RecordingDefault : public IDeviceConfigDefault {
public:
    // Owned by a unique_ptr, never by sp<>: with a weak lifetime libutils frees the reference
    // counts on a plain delete instead of leaving them behind.
    RecordingDefault() { extendObjectLifetime(OBJECT_LIFETIME_WEAK); }
    Status getProperties(const std::string& ns, const std::vector<std::string>& keys,
                         std::vector<Property>* out) override {
        calls.push_back(ns + ":" + keys.at(0));
        *out = {prop("a", "from-default")};
        return Status::ok();
    }
    std::vector<std::string> calls;
};

// One case, because a default implementation once installed cannot be removed.
TEST_F(ProxyWire, UnknownTransactionFailsOrGoesToTheDefaultImplementation) {
    remote->answer = android::UNKNOWN_TRANSACTION;
    EXPECT_EQ(nullptr, IDeviceConfig::getDefaultImpl());
    EXPECT_FALSE(IDeviceConfig::setDefaultImpl(nullptr));
    EXPECT_EQ(android::UNKNOWN_TRANSACTION,
              proxy->getProperties("ns", {}, &result).transactionError());

    auto owned = std::make_unique<RecordingDefault>();
    RecordingDefault* fallback = owned.get();
    ASSERT_TRUE(IDeviceConfig::setDefaultImpl(std::move(owned)));
    ASSERT_EQ(fallback, IDeviceConfig::getDefaultImpl().get());
    ASSERT_TRUE(proxy->getProperties("ns", {"a"}, &result).isOk());
    EXPECT_EQ((std::vector<Property>{prop("a", "from-default")}), result);
    EXPECT_EQ(std::vector<std::string>{"ns:a"}, fallback->calls);
    // The default's other operations keep answering UNKNOWN_TRANSACTION.
    EXPECT_EQ(android::UNKNOWN_TRANSACTION,
              proxy->addOnPropertiesChangeListener("ns", new MockListener()).transactionError());

    // Other failures never reach the default.
    remote->answer = android::DEAD_OBJECT;
    EXPECT_EQ(android::DEAD_OBJECT, proxy->getProperties("ns", {"a"}, &result).transactionError());
    EXPECT_EQ(1u, fallback->calls.size());

    ASSERT_TRUE(IDeviceConfig::setDefaultImpl(std::make_unique<RecordingDefault>()));
    EXPECT_NE(fallback, IDeviceConfig::getDefaultImpl().get());  // replaced
}

TEST(AsInterface, AnswersLocalObjectsAsTheyAreAndWrapsOthers) {
    EXPECT_EQ(nullptr, IDeviceConfig::asInterface(nullptr));
    sp<MockListener> local = new MockListener();
    sp<android::IBinder> binder = IOnPropertiesChangeListener::asBinder(local);
    EXPECT_EQ(local.get(), IOnPropertiesChangeListener::asInterface(binder).get());
    // A local object of another interface is reached through a proxy.
    sp<IDeviceConfig> wrapped = IDeviceConfig::asInterface(binder);
    ASSERT_NE(nullptr, wrapped);
    EXPECT_EQ(binder, IDeviceConfig::asBinder(wrapped));
    EXPECT_EQ(android::String16(kDeviceConfigDescriptor), wrapped->getInterfaceDescriptor());
}

class MockDeviceConfig : public BnDeviceConfig {
public:
    MOCK_METHOD(Status, getProperties,
                (const std::string&, const std::vector<std::string>&, std::vector<Property>*),
                (override));
    MOCK_METHOD(Status, addOnPropertiesChangeListener,
                (const std::string&, const sp<IOnPropertiesChangeListener>&), (override));
    MOCK_METHOD(Status, removeOnPropertiesChangeListener, (const sp<IOnPropertiesChangeListener>&),
                (override));
};

// The reply an AIDL stub leaves for an UNEXPECTED_NULL: exactly one EX_NULL_POINTER status.
const std::string kNullPointerReply = "fcffffff000000000000000000000000";

class StubWire : public testing::Test {
protected:
    android::status_t call(uint32_t code, const Bytes& request) {
        request.into(&data);
        return send(code);
    }
    // Listener requests go through libbinder's writers, which own the flat binder layout.
    android::status_t callWithBinder(uint32_t code, const sp<android::IBinder>& binder,
                                     bool withNamespace) {
        data.freeData();
        data.writeInterfaceToken(android::String16(kDeviceConfigDescriptor));
        if (withNamespace) data.writeUtf8AsUtf16(std::string("ns"));
        data.writeStrongBinder(binder);
        data.setDataPosition(0);
        return send(code);
    }
    // The reply already holds data, to show what the stub keeps or replaces.
    android::status_t send(uint32_t code) {
        reply.freeData();
        reply.writeInt32(0x0badf00d);
        return service->onTransact(code, data, &reply, 0);
    }
    std::string replyHex() const { return hexOf(reply).substr(8); }  // after the pre-filled word

    sp<MockDeviceConfig> service = new MockDeviceConfig();
    Parcel data;
    Parcel reply;
};

TEST_F(StubWire, GetPropertiesAnswersStatusThenListOrOnlyAFailedStatus) {
    EXPECT_CALL(*service, getProperties("ns", ElementsAre("a", "b"), _))
            .WillOnce(DoAll(SetArgPointee<2>(std::vector<Property>{prop("a", "1")}),
                            Return(Status::ok())));
    ASSERT_EQ(android::OK,
              call(1, Bytes().token(kDeviceConfigDescriptor).str("ns").i32(2).str("a").str("b")));
    EXPECT_EQ(Bytes().i32(0).i32(1).i32(1).property("a", "1").hex(), replyHex());

    EXPECT_CALL(*service, getProperties("ns", ElementsAre(), _))
            .WillOnce(DoAll(
                    SetArgPointee<2>(std::vector<Property>{prop("a", "1")}),
                    Return(Status::fromExceptionCode(Status::EX_ILLEGAL_ARGUMENT, "bad ns"))));
    ASSERT_EQ(android::OK, call(1, Bytes().token(kDeviceConfigDescriptor).str("ns").i32(0)));
    EXPECT_EQ(Bytes().i32(Status::EX_ILLEGAL_ARGUMENT).str("bad ns").i32(0).hex(), replyHex());
}

TEST_F(StubWire, AWrongTokenIsRefusedWithNothingWritten) {
    EXPECT_CALL(*service, getProperties).Times(0);
    for (uint32_t code : {1u, 2u, 3u}) {
        ASSERT_EQ(android::BAD_TYPE,
                  call(code, Bytes().token(kListenerDescriptor).str("ns").i32(0)));
        EXPECT_EQ("", replyHex());
    }
    // A vendor header word is another build's token.
    EXPECT_EQ(android::BAD_TYPE,
              call(1, Bytes().token(kDeviceConfigDescriptor, 0x564E4452).str("ns").i32(0)));
}

TEST_F(StubWire, HostileRequestsNeverReachTheService) {
    EXPECT_CALL(*service, getProperties).Times(0);
    EXPECT_CALL(*service, addOnPropertiesChangeListener).Times(0);
    EXPECT_CALL(*service, removeOnPropertiesChangeListener).Times(0);

    // A null key list, namespace or listener replaces the reply with a null-pointer exception.
    ASSERT_EQ(android::OK, call(1, Bytes().token(kDeviceConfigDescriptor).str("ns").i32(-1)));
    EXPECT_EQ(kNullPointerReply, hexOf(reply));
    ASSERT_EQ(android::OK, call(1, Bytes().token(kDeviceConfigDescriptor).i32(-1)));
    EXPECT_EQ(kNullPointerReply, hexOf(reply));
    ASSERT_EQ(android::OK, callWithBinder(2, nullptr, true));
    EXPECT_EQ(kNullPointerReply, hexOf(reply));
    ASSERT_EQ(android::OK, callWithBinder(3, nullptr, false));
    EXPECT_EQ(kNullPointerReply, hexOf(reply));

    // Key lists longer than the data, or missing, are answered as read.
    EXPECT_EQ(android::BAD_VALUE,
              call(1, Bytes().token(kDeviceConfigDescriptor).str("ns").i32(1000).str("a")));
    EXPECT_EQ(android::NOT_ENOUGH_DATA, call(1, Bytes().token(kDeviceConfigDescriptor).str("ns")));
}

TEST_F(StubWire, ListenerOperationsPassTheListenerAndAnswerTheStatus) {
    sp<MockListener> listener = new MockListener();
    EXPECT_CALL(*service, addOnPropertiesChangeListener("ns", _))
            .WillOnce([](const std::string&, const sp<IOnPropertiesChangeListener>& received) {
                EXPECT_NE(nullptr, received);
                return Status::ok();
            });
    ASSERT_EQ(android::OK, callWithBinder(2, IOnPropertiesChangeListener::asBinder(listener), true));
    EXPECT_EQ("00000000", replyHex());

    EXPECT_CALL(*service, removeOnPropertiesChangeListener(_))
            .WillOnce(Return(Status::fromServiceSpecificError(7, "nope")));
    ASSERT_EQ(android::OK,
              callWithBinder(3, IOnPropertiesChangeListener::asBinder(listener), false));
    EXPECT_EQ(Bytes().i32(Status::EX_SERVICE_SPECIFIC).str("nope").i32(0).i32(7).hex(), replyHex());
}

TEST_F(StubWire, UnknownCodesGoToTheFramework) {
    EXPECT_EQ(android::UNKNOWN_TRANSACTION, call(4, Bytes().token(kDeviceConfigDescriptor)));
    EXPECT_EQ(android::UNKNOWN_TRANSACTION, call(0x00FFFFFF, Bytes()));

    Parcel empty;
    Parcel descriptorReply;
    ASSERT_EQ(android::OK, service->onTransact(android::IBinder::INTERFACE_TRANSACTION, empty,
                                               &descriptorReply, 0));
    EXPECT_EQ(Bytes().str(kDeviceConfigDescriptor).hex(), hexOf(descriptorReply));
}

TEST(ListenerStub, DeliversWithoutAReplyAndRefusesBadRequests) {
    sp<MockListener> listener = new MockListener();
    // Only the first request is delivered; an outcome never reaches the one-way reply.
    EXPECT_CALL(*listener, onPropertiesChanged(ElementsAre(prop("k", "v"))))
            .WillOnce(Return(Status::fromExceptionCode(Status::EX_ILLEGAL_STATE)));
    const auto send = [&](uint32_t code, const Bytes& request, Parcel* reply, uint32_t flags = 0) {
        Parcel data;
        request.into(&data);
        return listener->onTransact(code, data, reply, flags);
    };
    Parcel reply;
    EXPECT_EQ(android::OK,
              send(1, Bytes().token(kListenerDescriptor).i32(1).i32(1).property("k", "v"), &reply,
                   android::IBinder::FLAG_ONEWAY));
    EXPECT_EQ(0u, reply.dataSize());

    EXPECT_EQ(android::BAD_TYPE, send(1, Bytes().token(kDeviceConfigDescriptor).i32(0), &reply));
    EXPECT_EQ(0u, reply.dataSize());
    EXPECT_EQ(android::OK, send(1, Bytes().token(kListenerDescriptor).i32(-1), &reply));
    EXPECT_EQ(kNullPointerReply, hexOf(reply));
    Parcel other;
    EXPECT_EQ(android::BAD_VALUE,
              send(1, Bytes().token(kListenerDescriptor).i32(1000).i32(1).i32(4), &other));
    EXPECT_EQ(android::UNKNOWN_TRANSACTION, send(2, Bytes(), &other));
}

// Size words that are not multiples of four, or below four, move the cursor off the word grid
// or back into bytes already read; every string read from there must stay defined.
TEST(OffGridCursor, StringsReadAtAnyOffsetAfterHostileSizeWords) {
    // A Property of size 1 leaves the cursor at offset 1, on an empty string.
    Parcel direct;
    Bytes().i32(1).i32(0).i32(0).into(&direct);
    Property skipped;
    ASSERT_EQ(android::OK, skipped.readFromParcel(&direct));
    ASSERT_EQ(1u, direct.dataPosition());
    std::string text = "stale";
    EXPECT_EQ(android::OK, direct.readUtf8FromUtf16(&text));
    EXPECT_EQ("", text);
    // A string at an odd offset reads whole through the copying readers.
    Parcel odd;
    Bytes().raw({0xff}).i32(2).raw({'h', 0, 'i', 0, 0, 0, 0, 0}).into(&odd);
    odd.setDataPosition(1);
    EXPECT_EQ(android::OK, odd.readUtf8FromUtf16(&text));
    EXPECT_EQ("hi", text);
    odd.setDataPosition(1);
    EXPECT_EQ(android::String16("hi"), odd.readString16());
    odd.setDataPosition(1);
    size_t len = 9;
    EXPECT_EQ(nullptr, odd.readString16Inplace(&len));
    EXPECT_EQ(0u, len);

    // A reply header of size 5 puts the whole list one byte off the grid.
    sp<ScriptedBinder> remote = new ScriptedBinder();
    sp<IDeviceConfig> proxy = new BpDeviceConfig(remote);
    std::vector<Property> result;
    remote->replyBytes = Bytes().i32(Status::EX_HAS_REPLY_HEADER)
                                 .i32(5)
                                 .raw({0})
                                 .i32(1)
                                 .i32(1)
                                 .property("a", "1")
                                 .bytes();
    ASSERT_TRUE(proxy->getProperties("ns", {}, &result).isOk());
    EXPECT_EQ(std::vector<Property>{prop("a", "1")}, result);

    // A first Property of size 15 jumps back into its own 10-unit key, where the second
    // element (marker 1, size 12, one-unit key "z") is planted at an odd offset.
    remote->replyBytes = Bytes().i32(0)
                                 .i32(2)
                                 .i32(1)
                                 .i32(15)
                                 .i32(10)
                                 .raw({'k', 'k', 'k', 'k', 'k', 'k', 'k', 1,   0, 0, 0, 12,
                                       0,   0,   0,   1,   0,   0,   0,   'z', 0, 0, 0, 0})
                                 .bytes();
    ASSERT_TRUE(proxy->getProperties("ns", {}, &result).isOk());
    ASSERT_EQ(2u, result.size());
    EXPECT_EQ(prop("z", ""), result[1]);

    // The same through a one-way call to a listener: size 9 lands inside the key.
    sp<MockListener> listener = new MockListener();
    EXPECT_CALL(*listener, onPropertiesChanged(ElementsAre(_, prop("z", ""))))
            .WillOnce(Return(Status::ok()));
    Parcel data;
    Bytes().token(kListenerDescriptor)
            .i32(2)
            .i32(1)
            .i32(9)
            .i32(10)
            .raw({'k', 1, 0, 0, 0, 12, 0, 0, 0, 1, 0, 0, 0, 'z', 0, 0, 0, 0, 'x', 0, 0, 0, 0, 0})
            .into(&data);
    Parcel reply;
    EXPECT_EQ(android::OK, listener->onTransact(1, data, &reply, android::IBinder::FLAG_ONEWAY));
}

}  // namespace
