#include <com/halcyon/deviceconfig/aidl/BnDeviceConfig.h>
#include <com/halcyon/deviceconfig/aidl/BnOnPropertiesChangeListener.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ParcelBytes.h"

namespace {

using android::Parcel;
using android::sp;
using android::binder::Status;
using namespace com::halcyon::deviceconfig::aidl;
using deviceconfigtest::Bytes;
using deviceconfigtest::hexOf;
using deviceconfigtest::kDeviceConfigDescriptor;
using deviceconfigtest::kListenerDescriptor;
using testing::_;
using testing::DoAll;
using testing::ElementsAre;
using testing::Return;
using testing::SetArgPointee;

Property prop(const std::string& key, const std::string& value) {
    Property p;
    p.key = key;
    p.value = value;
    return p;
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

class MockListener : public BnOnPropertiesChangeListener {
public:
    MOCK_METHOD(Status, onPropertiesChanged, (const std::vector<Property>&), (override));
};

// The reply an AIDL stub leaves for an UNEXPECTED_NULL: exactly one EX_NULL_POINTER status.
const std::string kNullPointerReply = "fcffffff000000000000000000000000";

class StubWire : public testing::Test {
protected:
    // Calls the stub with a reply that already holds data, to show what it keeps or replaces.
    android::status_t call(uint32_t code, const Bytes& request, uint32_t flags = 0) {
        request.into(&data);
        reply.freeData();
        reply.writeInt32(0x0badf00d);
        return service->onTransact(code, data, &reply, flags);
    }
    std::string replyHex() const { return hexOf(reply).substr(8); }  // after the pre-filled word

    sp<MockDeviceConfig> service = new MockDeviceConfig();
    Parcel data;
    Parcel reply;
};

TEST_F(StubWire, GetPropertiesAnswersStatusThenList) {
    EXPECT_CALL(*service, getProperties("ns", ElementsAre("a", "b"), _))
            .WillOnce(DoAll(SetArgPointee<2>(std::vector<Property>{prop("a", "1")}),
                            Return(Status::ok())));
    ASSERT_EQ(android::OK,
              call(1, Bytes().token(kDeviceConfigDescriptor).str("ns").i32(2).str("a").str("b")));
    EXPECT_EQ(Bytes().i32(0).i32(1).i32(1).property("a", "1").hex(), replyHex());
}

TEST_F(StubWire, AFailedGetPropertiesAnswersOnlyItsStatus) {
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
    Bytes vendor;
    vendor.i32(static_cast<int32_t>(0x80000000u))
            .i32(-1)
            .i32(0x564E4452)
            .str(kDeviceConfigDescriptor)
            .str("ns")
            .i32(0);
    EXPECT_EQ(android::BAD_TYPE, call(1, vendor));
}

TEST_F(StubWire, UnexpectedNullReplacesTheReplyWithANullPointerException) {
    EXPECT_CALL(*service, getProperties).Times(0);
    EXPECT_CALL(*service, addOnPropertiesChangeListener).Times(0);
    EXPECT_CALL(*service, removeOnPropertiesChangeListener).Times(0);

    // A null key list.
    ASSERT_EQ(android::OK, call(1, Bytes().token(kDeviceConfigDescriptor).str("ns").i32(-1)));
    EXPECT_EQ(kNullPointerReply, hexOf(reply));
    // A null namespace.
    ASSERT_EQ(android::OK, call(1, Bytes().token(kDeviceConfigDescriptor).i32(-1)));
    EXPECT_EQ(kNullPointerReply, hexOf(reply));

    // A null listener binder, written the way libbinder writes a null sp<IBinder>.
    Parcel request;
    request.writeInterfaceToken(android::String16(kDeviceConfigDescriptor));
    request.writeUtf8AsUtf16(std::string("ns"));
    request.writeStrongBinder(nullptr);
    request.setDataPosition(0);
    Parcel nullReply;
    ASSERT_EQ(android::OK, service->onTransact(2, request, &nullReply, 0));
    EXPECT_EQ(kNullPointerReply, hexOf(nullReply));

    Parcel removeRequest;
    removeRequest.writeInterfaceToken(android::String16(kDeviceConfigDescriptor));
    removeRequest.writeStrongBinder(nullptr);
    removeRequest.setDataPosition(0);
    Parcel removeReply;
    ASSERT_EQ(android::OK, service->onTransact(3, removeRequest, &removeReply, 0));
    EXPECT_EQ(kNullPointerReply, hexOf(removeReply));
}

TEST_F(StubWire, HostileKeyListsAreAnsweredAsRead) {
    EXPECT_CALL(*service, getProperties).Times(0);
    EXPECT_EQ(android::BAD_VALUE,
              call(1, Bytes().token(kDeviceConfigDescriptor).str("ns").i32(1000).str("a")));
    EXPECT_EQ(android::NOT_ENOUGH_DATA, call(1, Bytes().token(kDeviceConfigDescriptor).str("ns")));
}

TEST_F(StubWire, ListenerOperationsPassTheListenerAndAnswerTheStatus) {
    sp<MockListener> listener = new MockListener();
    Parcel request;
    request.writeInterfaceToken(android::String16(kDeviceConfigDescriptor));
    request.writeUtf8AsUtf16(std::string("ns"));
    request.writeStrongBinder(IOnPropertiesChangeListener::asBinder(listener));
    request.setDataPosition(0);

    EXPECT_CALL(*service, addOnPropertiesChangeListener("ns", _))
            .WillOnce([](const std::string&, const sp<IOnPropertiesChangeListener>& received) {
                EXPECT_NE(nullptr, received);
                return Status::ok();
            });
    Parcel addReply;
    ASSERT_EQ(android::OK, service->onTransact(2, request, &addReply, 0));
    EXPECT_EQ("00000000", hexOf(addReply));

    Parcel removeRequest;
    removeRequest.writeInterfaceToken(android::String16(kDeviceConfigDescriptor));
    removeRequest.writeStrongBinder(IOnPropertiesChangeListener::asBinder(listener));
    removeRequest.setDataPosition(0);
    EXPECT_CALL(*service, removeOnPropertiesChangeListener(_))
            .WillOnce(Return(Status::fromServiceSpecificError(7, "nope")));
    Parcel removeReply;
    ASSERT_EQ(android::OK, service->onTransact(3, removeRequest, &removeReply, 0));
    EXPECT_EQ(Bytes().i32(Status::EX_SERVICE_SPECIFIC).str("nope").i32(0).i32(7).hex(),
              hexOf(removeReply));
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

TEST(ListenerStub, DeliversTheListAndWritesNoReplyWhateverTheOutcome) {
    sp<MockListener> listener = new MockListener();
    EXPECT_CALL(*listener, onPropertiesChanged(ElementsAre(prop("k", "v"))))
            .WillOnce(Return(Status::fromExceptionCode(Status::EX_ILLEGAL_STATE)));
    Parcel data;
    Bytes().token(kListenerDescriptor).i32(1).i32(1).property("k", "v").into(&data);
    Parcel reply;
    EXPECT_EQ(android::OK, listener->onTransact(1, data, &reply, android::IBinder::FLAG_ONEWAY));
    EXPECT_EQ(0u, reply.dataSize());
}

TEST(ListenerStub, RefusesWrongTokensNullListsAndUnknownCodes) {
    sp<MockListener> listener = new MockListener();
    EXPECT_CALL(*listener, onPropertiesChanged).Times(0);

    Parcel wrongToken;
    Bytes().token(kDeviceConfigDescriptor).i32(0).into(&wrongToken);
    Parcel reply;
    EXPECT_EQ(android::BAD_TYPE, listener->onTransact(1, wrongToken, &reply, 0));
    EXPECT_EQ(0u, reply.dataSize());

    Parcel nullList;
    Bytes().token(kListenerDescriptor).i32(-1).into(&nullList);
    EXPECT_EQ(android::OK, listener->onTransact(1, nullList, &reply, 0));
    EXPECT_EQ(kNullPointerReply, hexOf(reply));

    Parcel tooLong;
    Bytes().token(kListenerDescriptor).i32(1000).i32(1).i32(4).into(&tooLong);
    Parcel tooLongReply;
    EXPECT_EQ(android::BAD_VALUE, listener->onTransact(1, tooLong, &tooLongReply, 0));

    Parcel other;
    Parcel otherReply;
    EXPECT_EQ(android::UNKNOWN_TRANSACTION, listener->onTransact(2, other, &otherReply, 0));
}

}  // namespace
