#include <com/halcyon/deviceconfig/aidl/BnOnPropertiesChangeListener.h>
#include <com/halcyon/deviceconfig/aidl/BpDeviceConfig.h>
#include <com/halcyon/deviceconfig/aidl/BpOnPropertiesChangeListener.h>
#include <gtest/gtest.h>

#include "ParcelBytes.h"
#include "ScriptedBinder.h"

namespace {

using android::sp;
using android::binder::Status;
using namespace com::halcyon::deviceconfig::aidl;
using deviceconfigtest::Bytes;
using deviceconfigtest::kDeviceConfigDescriptor;
using deviceconfigtest::kListenerDescriptor;
using deviceconfigtest::ScriptedBinder;

Property prop(const std::string& key, const std::string& value) {
    Property p;
    p.key = key;
    p.value = value;
    return p;
}

std::string hex(const std::vector<uint8_t>& bytes) {
    return Bytes::toHex(bytes.data(), bytes.size());
}

class NullListener : public BnOnPropertiesChangeListener {
public:
    Status onPropertiesChanged(const std::vector<Property>&) override { return Status::ok(); }
};

class ProxyWire : public testing::Test {
protected:
    sp<ScriptedBinder> remote = new ScriptedBinder();
    sp<IDeviceConfig> proxy = new BpDeviceConfig(remote);
};

TEST_F(ProxyWire, GetPropertiesSendsTokenNamespaceAndKeys) {
    remote->replyBytes = Bytes().i32(0).i32(0).bytes();
    std::vector<Property> result;
    ASSERT_TRUE(proxy->getProperties("ns", {"x", ""}, &result).isOk());
    EXPECT_EQ(1u, remote->lastCode);
    EXPECT_EQ(0u, remote->lastFlags);
    EXPECT_EQ(Bytes().token(kDeviceConfigDescriptor).str("ns").i32(2).str("x").str("").hex(),
              hex(remote->lastRequest));

    ASSERT_TRUE(proxy->getProperties("ns", {}, &result).isOk());
    EXPECT_EQ(Bytes().token(kDeviceConfigDescriptor).str("ns").i32(0).hex(),
              hex(remote->lastRequest));
}

TEST_F(ProxyWire, GetPropertiesReadsTheResultListAfterAnOkStatus) {
    remote->replyBytes =
            Bytes().i32(0).i32(2).i32(1).property("a", "1").i32(1).property("b", "2").bytes();
    std::vector<Property> result;
    const Status status = proxy->getProperties("ns", {"a", "b"}, &result);
    ASSERT_TRUE(status.isOk()) << status.toString8().c_str();
    EXPECT_EQ((std::vector<Property>{prop("a", "1"), prop("b", "2")}), result);
}

TEST_F(ProxyWire, AnExceptionInTheReplyLeavesTheResultUntouched) {
    remote->replyBytes = Bytes().i32(Status::EX_ILLEGAL_STATE)
                                 .str("boom")
                                 .i32(0)
                                 .i32(1)
                                 .i32(1)
                                 .property("a", "1")
                                 .bytes();
    std::vector<Property> result{prop("keep", "me")};
    const Status status = proxy->getProperties("ns", {"a"}, &result);
    EXPECT_EQ(Status::EX_ILLEGAL_STATE, status.exceptionCode());
    EXPECT_STREQ("boom", status.exceptionMessage().c_str());
    EXPECT_EQ((std::vector<Property>{prop("keep", "me")}), result);
}

TEST_F(ProxyWire, ReplyAndTransportErrorsBecomeTransactionFailures) {
    std::vector<Property> result;
    remote->replyBytes = Bytes().i32(0).i32(-1).bytes();  // null list
    EXPECT_EQ(android::UNEXPECTED_NULL, proxy->getProperties("ns", {}, &result).transactionError());

    remote->replyBytes = Bytes().i32(0).i32(1000).i32(1).i32(4).i32(0).bytes();
    EXPECT_EQ(android::BAD_VALUE, proxy->getProperties("ns", {}, &result).transactionError());

    remote->replyBytes.clear();  // no Status at all
    EXPECT_EQ(android::NOT_ENOUGH_DATA, proxy->getProperties("ns", {}, &result).transactionError());

    remote->answer = android::DEAD_OBJECT;
    const Status dead = proxy->addOnPropertiesChangeListener("ns", new NullListener());
    EXPECT_EQ(Status::EX_TRANSACTION_FAILED, dead.exceptionCode());
    EXPECT_EQ(android::DEAD_OBJECT, dead.transactionError());
}

TEST_F(ProxyWire, ListenerCallsSendTheBinderAndReadOnlyAStatus) {
    remote->replyBytes = Bytes().i32(0).i32(0x5555).bytes();  // trailing data is not read
    sp<IOnPropertiesChangeListener> listener = new NullListener();

    ASSERT_TRUE(proxy->addOnPropertiesChangeListener("ns", listener).isOk());
    EXPECT_EQ(2u, remote->lastCode);
    EXPECT_EQ(0u, remote->lastFlags);
    const std::string prefix = Bytes().token(kDeviceConfigDescriptor).str("ns").hex();
    EXPECT_EQ(prefix, hex(remote->lastRequest).substr(0, prefix.size()));
    EXPECT_EQ(prefix.size() / 2 + 28, remote->lastRequest.size());  // flat object + stability word
    EXPECT_EQ(1u, remote->lastRequestObjects);

    ASSERT_TRUE(proxy->removeOnPropertiesChangeListener(listener).isOk());
    EXPECT_EQ(3u, remote->lastCode);
    const std::string tokenOnly = Bytes().token(kDeviceConfigDescriptor).hex();
    EXPECT_EQ(tokenOnly.size() / 2 + 28, remote->lastRequest.size());

    remote->replyBytes = Bytes().i32(Status::EX_SECURITY).str("denied").i32(0).bytes();
    const Status refused = proxy->removeOnPropertiesChangeListener(listener);
    EXPECT_EQ(Status::EX_SECURITY, refused.exceptionCode());
    EXPECT_STREQ("denied", refused.exceptionMessage().c_str());
}

TEST_F(ProxyWire, OnPropertiesChangedIsOneWayAndReadsNoReply) {
    sp<ScriptedBinder> listenerRemote = new ScriptedBinder();
    sp<IOnPropertiesChangeListener> listenerProxy = new BpOnPropertiesChangeListener(listenerRemote);
    listenerRemote->replyBytes = Bytes().i32(Status::EX_ILLEGAL_STATE).bytes();
    ASSERT_TRUE(listenerProxy->onPropertiesChanged({prop("k", "v")}).isOk());
    EXPECT_EQ(1u, listenerRemote->lastCode);
    EXPECT_EQ(static_cast<uint32_t>(android::IBinder::FLAG_ONEWAY), listenerRemote->lastFlags);
    EXPECT_EQ(Bytes().token(kListenerDescriptor).i32(1).i32(1).property("k", "v").hex(),
              hex(listenerRemote->lastRequest));
}

// A plain fake: the default slot outlives gmock's registry at process exit.
class RecordingDefault : public IDeviceConfigDefault {
public:
    // Owned by a unique_ptr, never by sp<>: with a weak lifetime libutils frees the reference
    // counts on a plain delete instead of leaving them behind.
    RecordingDefault() { extendObjectLifetime(OBJECT_LIFETIME_WEAK); }
    Status getProperties(const std::string& ns, const std::vector<std::string>& keys,
                         std::vector<Property>* result) override {
        ++calls;
        lastNs = ns;
        lastKeys = keys;
        *result = {prop("a", "from-default")};
        return Status::ok();
    }
    int calls = 0;
    std::string lastNs;
    std::vector<std::string> lastKeys;
};

TEST_F(ProxyWire, UnknownTransactionFailsWithoutADefaultImplementation) {
    remote->answer = android::UNKNOWN_TRANSACTION;
    EXPECT_EQ(nullptr, IDeviceConfig::getDefaultImpl());
    EXPECT_FALSE(IDeviceConfig::setDefaultImpl(nullptr));
    std::vector<Property> result;
    EXPECT_EQ(android::UNKNOWN_TRANSACTION,
              proxy->getProperties("ns", {}, &result).transactionError());

    sp<ScriptedBinder> listenerRemote = new ScriptedBinder();
    listenerRemote->answer = android::UNKNOWN_TRANSACTION;
    sp<IOnPropertiesChangeListener> listenerProxy = new BpOnPropertiesChangeListener(listenerRemote);
    EXPECT_EQ(android::UNKNOWN_TRANSACTION,
              listenerProxy->onPropertiesChanged({}).transactionError());
}

TEST_F(ProxyWire, UnknownTransactionGoesToTheDefaultImplementation) {
    auto owned = std::make_unique<RecordingDefault>();
    RecordingDefault* fallback = owned.get();
    ASSERT_TRUE(IDeviceConfig::setDefaultImpl(std::move(owned)));
    ASSERT_EQ(fallback, IDeviceConfig::getDefaultImpl().get());

    remote->answer = android::UNKNOWN_TRANSACTION;
    std::vector<Property> result;
    ASSERT_TRUE(proxy->getProperties("ns", {"a"}, &result).isOk());
    EXPECT_EQ((std::vector<Property>{prop("a", "from-default")}), result);
    EXPECT_EQ(1, fallback->calls);
    EXPECT_EQ("ns", fallback->lastNs);
    EXPECT_EQ(std::vector<std::string>{"a"}, fallback->lastKeys);
    // The default's other operations keep answering UNKNOWN_TRANSACTION.
    EXPECT_EQ(android::UNKNOWN_TRANSACTION,
              proxy->addOnPropertiesChangeListener("ns", new NullListener()).transactionError());

    // Other failures never reach the default.
    remote->answer = android::DEAD_OBJECT;
    EXPECT_EQ(android::DEAD_OBJECT, proxy->getProperties("ns", {"a"}, &result).transactionError());
    EXPECT_EQ(1, fallback->calls);

    // A new default replaces the old one.
    ASSERT_TRUE(IDeviceConfig::setDefaultImpl(std::make_unique<RecordingDefault>()));
    EXPECT_NE(fallback, IDeviceConfig::getDefaultImpl().get());
}

TEST(AsInterface, AnswersLocalObjectsAsTheyAreAndWrapsOthers) {
    EXPECT_EQ(nullptr, IDeviceConfig::asInterface(nullptr));
    sp<NullListener> local = new NullListener();
    sp<android::IBinder> binder = IOnPropertiesChangeListener::asBinder(local);
    EXPECT_EQ(local.get(), IOnPropertiesChangeListener::asInterface(binder).get());
    // A local object of another interface is reached through a proxy.
    sp<IDeviceConfig> wrapped = IDeviceConfig::asInterface(binder);
    ASSERT_NE(nullptr, wrapped);
    EXPECT_EQ(binder, IDeviceConfig::asBinder(wrapped));
    EXPECT_EQ(android::String16(kDeviceConfigDescriptor), wrapped->getInterfaceDescriptor());
}

}  // namespace
