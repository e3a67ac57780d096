// Wire format of the device-config interfaces: Property and list layout, the requests the
// proxies send and the replies the stubs write, checked byte for byte against bytes built by
// hand, independently of Parcel's writers.
#include <com/halcyon/deviceconfig/aidl/BnDeviceConfig.h>
#include <com/halcyon/deviceconfig/aidl/BnOnPropertiesChangeListener.h>
#include <com/halcyon/deviceconfig/aidl/BpDeviceConfig.h>
#include <com/halcyon/deviceconfig/aidl/BpOnPropertiesChangeListener.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <HexBytes.h>

#include <climits>
#include <initializer_list>

namespace {

using android::Parcel;
using android::sp;
using android::binder::Status;
using namespace com::halcyon::deviceconfig::aidl;
using testing::_;
using testing::DoAll;
using testing::ElementsAre;
using testing::Return;
using testing::SetArgPointee;

constexpr const char* kDeviceConfigDescriptor = "com.halcyon.deviceconfig.aidl.IDeviceConfig";
constexpr const char* kListenerDescriptor =
        "com.halcyon.deviceconfig.aidl.IOnPropertiesChangeListener";

Property prop(const std::string& key, const std::string& value) {
    Property p;
    p.key = key;
    p.value = value;
    return p;
}

using testsupport::hexOf;

class Bytes {
public:
    Bytes& i32(int32_t v) {
        for (int i = 0; i < 4; ++i)
            mBytes.push_back(static_cast<uint8_t>(static_cast<uint32_t>(v) >> (8 * i)));
        return *this;
    }
    Bytes& i32(std::initializer_list<int32_t> words) {
        for (int32_t word : words) i32(word);
        return *this;
    }
    // Bytes as they are, with no padding: for layouts that leave the 4-byte grid.
    Bytes& raw(std::initializer_list<uint8_t> bytes) {
        mBytes.insert(mBytes.end(), bytes);
        return *this;
    }
    // ASCII text as a length-prefixed, NUL-terminated, zero-padded UTF-16 string.
    Bytes& str(const std::string& s) {
        i32(static_cast<int32_t>(s.size()));
        for (char c : s) mBytes.insert(mBytes.end(), {static_cast<uint8_t>(c), 0});
        mBytes.insert(mBytes.end(), {0, 0});
        while (mBytes.size() % 4 != 0) mBytes.push_back(0);
        return *this;
    }
    // The interface token of a caller; the header word tells system from vendor builds.
    Bytes& token(const std::string& descriptor, int32_t header = 0x53595354) {
        return i32(static_cast<int32_t>(0x80000000u)).i32(-1).i32(header).str(descriptor);
    }
    // A Property body: size word counting itself, key, value, then optional extra words.
    Bytes& property(const std::string& key, const std::string& value, int extraWords = 0) {
        Bytes body;
        body.str(key).str(value);
        for (int i = 0; i < extraWords; ++i) body.i32(0x7777);
        i32(static_cast<int32_t>(4 + body.mBytes.size()));
        mBytes.insert(mBytes.end(), body.mBytes.begin(), body.mBytes.end());
        return *this;
    }

    const std::vector<uint8_t>& bytes() const { return mBytes; }
    std::string hex() const { return hexOf(mBytes.data(), mBytes.size()); }
    // Loads the bytes into a parcel positioned at its start.
    void into(Parcel* parcel) const {
        parcel->setData(mBytes.data(), mBytes.size());
        parcel->setDataPosition(0);
    }

private:
    std::vector<uint8_t> mBytes;
};

Bytes deviceConfigRequest() {
    return Bytes().token(kDeviceConfigDescriptor);
}

// A newer writer's extra fields are skipped whole, an older writer's missing ones keep their
// value, and sizes that point outside the parcel are refused.
TEST(PropertyParcel, TheSizeWordDecidesHowMuchIsRead) {
    const struct {
        Bytes bytes;
        size_t start;
        android::status_t status;
        Property read;  // into prop("old", "kept")
        size_t end;
    } cases[] = {
            {Bytes().property("a", "1", 3).i32(0x1234), 0, android::OK, prop("a", "1"), 32},
            {Bytes().i32(12).str("ab").i32(0x1234), 0, android::OK, prop("ab", "kept"), 12},
            {Bytes().i32(-8).str("k").str("v"), 0, android::BAD_VALUE, prop("old", "kept"), 4},
            {Bytes().i32(0).i32(INT32_MAX).str("k"), 4, android::BAD_VALUE, prop("old", "kept"), 8},
            {Bytes().i32(12).i32(-1).i32(0), 0, android::UNEXPECTED_NULL, prop("old", "kept"), 8},
            {Bytes(), 0, android::NOT_ENOUGH_DATA, prop("old", "kept"), 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.bytes.hex());
        Parcel parcel;
        c.bytes.into(&parcel);
        parcel.setDataPosition(c.start);
        Property p = prop("old", "kept");
        EXPECT_EQ(c.status, p.readFromParcel(&parcel));
        EXPECT_EQ(c.read, p);
        EXPECT_EQ(c.end, parcel.dataPosition());
    }
}

// A remote object that records what a proxy sends and answers with canned reply bytes.
struct ScriptedBinder : android::BBinder {
    android::status_t onTransact(uint32_t code, const Parcel& data, Parcel* reply,
                                 uint32_t flags) override {
        lastCode = code;
        lastFlags = flags;
        lastRequest = hexOf(data);
        if (reply != nullptr && !replyBytes.empty())
            reply->setData(replyBytes.data(), replyBytes.size());
        return answer;
    }
    android::status_t answer = android::OK;  // script
    std::vector<uint8_t> replyBytes;
    uint32_t lastCode = 0;  // record
    uint32_t lastFlags = 0;
    std::string lastRequest;
};

class MockListener : public BnOnPropertiesChangeListener {
public:
    MOCK_METHOD(Status, onPropertiesChanged, (const std::vector<Property>&), (override));
};

class ProxyWire : public testing::Test {
protected:
    sp<ScriptedBinder> remote = new ScriptedBinder();
    sp<IDeviceConfig> proxy = new BpDeviceConfig(remote);
    std::vector<Property> result{prop("x", "1"), prop("y", "2"), prop("z", "3")};
};

TEST_F(ProxyWire, GetPropertiesSendsTokenNamespaceAndKeysThenReadsTheCountedList) {
    // The first element is oversized: its extra words are skipped.
    remote->replyBytes =
            Bytes().i32(0).i32(2).i32(1).property("a", "1", 2).i32(1).property("b", "2").bytes();
    const Status status = proxy->getProperties("ns", {"x", ""}, &result);
    ASSERT_TRUE(status.isOk()) << status.toString8().c_str();
    EXPECT_EQ(1u, remote->lastCode);
    EXPECT_EQ(0u, remote->lastFlags);
    EXPECT_EQ(deviceConfigRequest().str("ns").i32(2).str("x").str("").hex(), remote->lastRequest);
    EXPECT_EQ((std::vector<Property>{prop("a", "1"), prop("b", "2")}), result);
}

// An exception is answered as it came, with the list after it unread; a list the parcel refuses
// (its hostile forms are ParcelTest's) and transport errors become transaction failures.
TEST_F(ProxyWire, FailedRepliesAreAnsweredAsTheyCame) {
    remote->replyBytes = Bytes().i32(Status::EX_ILLEGAL_STATE).str("boom").i32({0, 1, 1}).bytes();
    const Status status = proxy->getProperties("ns", {"a"}, &result);
    EXPECT_EQ(Status::EX_ILLEGAL_STATE, status.exceptionCode());
    EXPECT_STREQ("boom", status.exceptionMessage().c_str());
    EXPECT_EQ(3u, result.size());

    const std::pair<Bytes, android::status_t> replies[] = {
            {Bytes().i32({0, -1}), android::UNEXPECTED_NULL},
            {Bytes(), android::NOT_ENOUGH_DATA},
    };
    for (const auto& [reply, error] : replies) {
        remote->replyBytes = reply.bytes();
        EXPECT_EQ(error, proxy->getProperties("ns", {}, &result).transactionError()) << reply.hex();
    }
    // No default implementation is installed to take UNKNOWN_TRANSACTION.
    for (android::status_t error : {android::DEAD_OBJECT, android::UNKNOWN_TRANSACTION}) {
        remote->answer = error;
        EXPECT_EQ(error, proxy->getProperties("ns", {}, &result).transactionError());
    }
}

TEST(ListenerProxy, OnPropertiesChangedIsOneWayAndReadsNoReply) {
    sp<ScriptedBinder> remote = new ScriptedBinder();
    sp<IOnPropertiesChangeListener> proxy = new BpOnPropertiesChangeListener(remote);
    remote->replyBytes = Bytes().i32(Status::EX_ILLEGAL_STATE).bytes();
    ASSERT_TRUE(proxy->onPropertiesChanged({prop("k", "v")}).isOk());
    EXPECT_EQ(1u, remote->lastCode);
    EXPECT_EQ(static_cast<uint32_t>(android::IBinder::FLAG_ONEWAY), remote->lastFlags);
    EXPECT_EQ(Bytes().token(kListenerDescriptor).i32(1).i32(1).property("k", "v").hex(),
              remote->lastRequest);
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
    android::status_t call(uint32_t code, const Bytes& request, bool toListener = false) {
        request.into(&data);
        return send(code, toListener);
    }
    // Listener requests go through libbinder's writers, which own the flat binder layout.
    android::status_t callWithBinder(uint32_t code, const sp<android::IBinder>& binder) {
        data.freeData();
        data.writeInterfaceToken(android::String16(kDeviceConfigDescriptor));
        if (code == BnDeviceConfig::TRANSACTION_addOnPropertiesChangeListener)
            data.writeUtf8AsUtf16(std::string("ns"));
        data.writeStrongBinder(binder);
        data.setDataPosition(0);
        return send(code, false);
    }
    // The reply already holds a word, to show what the stub keeps or replaces.
    android::status_t send(uint32_t code, bool toListener) {
        reply.freeData();
        reply.writeInt32(0x0badf00d);
        return toListener ? listener->onTransact(code, data, &reply, android::IBinder::FLAG_ONEWAY)
                          : service->onTransact(code, data, &reply, 0);
    }
    std::string replyHex() const { return hexOf(reply).substr(8); }  // after the pre-filled word

    sp<MockDeviceConfig> service = new MockDeviceConfig();
    sp<MockListener> listener = new MockListener();
    Parcel data;
    Parcel reply;
};

TEST_F(StubWire, GetPropertiesAnswersStatusThenListOrOnlyAFailedStatus) {
    EXPECT_CALL(*service, getProperties("ns", ElementsAre("a", "b"), _))
            .WillOnce(DoAll(SetArgPointee<2>(std::vector<Property>{prop("a", "1")}),
                            Return(Status::ok())));
    ASSERT_EQ(android::OK, call(1, deviceConfigRequest().str("ns").i32(2).str("a").str("b")));
    EXPECT_EQ(Bytes().i32({0, 1, 1}).property("a", "1").hex(), replyHex());

    EXPECT_CALL(*service, getProperties("ns", ElementsAre(), _))
            .WillOnce(DoAll(
                    SetArgPointee<2>(std::vector<Property>{prop("a", "1")}),
                    Return(Status::fromExceptionCode(Status::EX_ILLEGAL_ARGUMENT, "bad ns"))));
    ASSERT_EQ(android::OK, call(1, deviceConfigRequest().str("ns").i32(0)));
    EXPECT_EQ(Bytes().i32(Status::EX_ILLEGAL_ARGUMENT).str("bad ns").i32(0).hex(), replyHex());
}

// The listener is passed as a binder; the listener's outcome never reaches the reply of its
// one-way call.
TEST_F(StubWire, ListenerOperationsPassTheListenerAndAnswerTheStatus) {
    EXPECT_CALL(*service, addOnPropertiesChangeListener("ns", testing::NotNull()))
            .WillOnce(Return(Status::ok()));
    ASSERT_EQ(android::OK, callWithBinder(2, IOnPropertiesChangeListener::asBinder(listener)));
    EXPECT_EQ("00000000", replyHex());
    EXPECT_CALL(*service, removeOnPropertiesChangeListener(testing::NotNull()))
            .WillOnce(Return(Status::fromExceptionCode(Status::EX_SECURITY)));
    ASSERT_EQ(android::OK, callWithBinder(3, IOnPropertiesChangeListener::asBinder(listener)));
    EXPECT_EQ(Bytes().i32(Status::EX_SECURITY).str("").i32(0).hex(), replyHex());

    EXPECT_CALL(*listener, onPropertiesChanged(ElementsAre(prop("k", "v"))))
            .WillOnce(Return(Status::fromExceptionCode(Status::EX_ILLEGAL_STATE)));
    ASSERT_EQ(android::OK,
              call(1, Bytes().token(kListenerDescriptor).i32({1, 1}).property("k", "v"), true));
    EXPECT_EQ("", replyHex());
}

// Wrong tokens and short data leave the reply alone, nulls replace it with a null-pointer
// exception, and unknown codes go to the framework, which answers INTERFACE_TRANSACTION.
TEST_F(StubWire, BadRequestsNeverReachTheObject) {
    EXPECT_CALL(*service, getProperties).Times(0);
    EXPECT_CALL(*service, addOnPropertiesChangeListener).Times(0);
    EXPECT_CALL(*service, removeOnPropertiesChangeListener).Times(0);
    EXPECT_CALL(*listener, onPropertiesChanged).Times(0);
    const Bytes listenerToken = Bytes().token(kListenerDescriptor);
    const Bytes vendorToken = Bytes().token(kDeviceConfigDescriptor, 0x564E4452);
    const struct {
        bool toListener;
        uint32_t code;
        Bytes request;
        android::status_t status;
        std::string reply;
    } cases[] = {
            {false, 1, Bytes(listenerToken).str("ns").i32(0), android::BAD_TYPE, ""},
            {false, 2, Bytes(listenerToken).str("ns"), android::BAD_TYPE, ""},
            {false, 3, listenerToken, android::BAD_TYPE, ""},
            {false, 1, Bytes(vendorToken).str("ns").i32(0), android::BAD_TYPE, ""},
            {true, 1, deviceConfigRequest().i32(0), android::BAD_TYPE, ""},
            {false, 1, deviceConfigRequest().str("ns").i32(-1), android::OK, kNullPointerReply},
            {true, 1, Bytes(listenerToken).i32(-1), android::OK, kNullPointerReply},
            {false, 1, deviceConfigRequest().str("ns"), android::NOT_ENOUGH_DATA, ""},
            {false, 4, deviceConfigRequest(), android::UNKNOWN_TRANSACTION, ""},
            {true, 2, Bytes(), android::UNKNOWN_TRANSACTION, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.request.hex());
        EXPECT_EQ(c.status, call(c.code, c.request, c.toListener));
        EXPECT_EQ(c.reply.empty() ? "0df0ad0b" : c.reply, hexOf(reply));
    }
    for (uint32_t code : {2u, 3u}) {
        ASSERT_EQ(android::OK, callWithBinder(code, nullptr));
        EXPECT_EQ(kNullPointerReply, hexOf(reply));
    }
    ASSERT_EQ(android::OK, call(android::IBinder::INTERFACE_TRANSACTION, Bytes()));
    EXPECT_EQ(Bytes().str(kDeviceConfigDescriptor).hex(), replyHex());
}

// Size words that are not multiples of four, or below four, move the cursor off the word grid
// or back into bytes already read; every string read from there must stay defined.
TEST(OffGridCursor, StringsReadAtAnyOffsetAfterHostileSizeWords) {
    // A Property of size 1 leaves the cursor at offset 1, on an empty string.
    Parcel direct;
    Bytes().i32({1, 0, 0}).into(&direct);
    Property skipped;
    ASSERT_EQ(android::OK, skipped.readFromParcel(&direct));
    ASSERT_EQ(1u, direct.dataPosition());
    std::string text = "stale";
    EXPECT_EQ(android::OK, direct.readUtf8FromUtf16(&text));
    EXPECT_EQ("", text);

    // A reply header of size 5 puts the whole list one byte off the grid.
    sp<ScriptedBinder> remote = new ScriptedBinder();
    sp<IDeviceConfig> proxy = new BpDeviceConfig(remote);
    std::vector<Property> result;
    const Bytes header = Bytes().i32(Status::EX_HAS_REPLY_HEADER).i32(5).raw({0});
    remote->replyBytes = Bytes(header).i32(1).i32(1).property("a", "1").bytes();
    ASSERT_TRUE(proxy->getProperties("ns", {}, &result).isOk());
    EXPECT_EQ(std::vector<Property>{prop("a", "1")}, result);

    // A first Property of size 15 jumps back into its own 10-unit key, where the second
    // element (marker 1, size 12, one-unit key "z") is planted at an odd offset.
    remote->replyBytes = Bytes().i32({0, 2, 1, 15, 10})
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
            .i32({2, 1, 9, 10})
            .raw({'k', 1, 0, 0, 0, 12, 0, 0, 0, 1, 0, 0, 0, 'z', 0, 0, 0, 0, 'x', 0, 0, 0, 0, 0})
            .into(&data);
    Parcel reply;
    EXPECT_EQ(android::OK, listener->onTransact(1, data, &reply, android::IBinder::FLAG_ONEWAY));
}

}  // namespace
