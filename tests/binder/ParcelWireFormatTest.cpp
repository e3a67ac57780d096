// Byte layout of parcels against hand-checked fixtures, and cursor rules.

#include <cstring>

#include <gtest/gtest.h>

#include <binder/Parcel.h>
#include <binder/Status.h>

#include "ParcelTestSupport.h"

namespace {

using android::Parcel;
using android::String16;
using binder_test::hexOf;
using binder_test::KeyValue;
using binder_test::loadHex;

constexpr char kRequestFixture[] =
        "00000080ffffffff545359531000000063006f006d002e006500780061006d0070006c0065002e0049"
        "0046006f006f00000000000200000061006200000000000200000001000000780000000000000000000000";
constexpr char kListReplyFixture[] =
        "00000000010000000100000014000000010000006b0000000100000076000000";
constexpr char kNullPointerFixture[] = "fcffffff000000000000000000000000";

TEST(ParcelWireFormat, RequestWithTokenStringAndStringListMatchesFixture) {
    Parcel request;
    ASSERT_EQ(android::OK, request.writeInterfaceToken(String16("com.example.IFoo")));
    ASSERT_EQ(android::OK, request.writeUtf8AsUtf16(std::string("ab")));
    ASSERT_EQ(android::OK, request.writeUtf8VectorAsUtf16Vector({"x", ""}));
    EXPECT_EQ(84u, request.dataSize());
    EXPECT_EQ(kRequestFixture, hexOf(request));

    Parcel received;
    loadHex(&received, kRequestFixture);
    EXPECT_TRUE(received.enforceInterface(String16("com.example.IFoo")));
    std::string arg0;
    std::vector<std::string> arg1;
    EXPECT_EQ(android::OK, received.readUtf8FromUtf16(&arg0));
    EXPECT_EQ(android::OK, received.readUtf8VectorFromUtf16Vector(&arg1));
    EXPECT_EQ("ab", arg0);
    EXPECT_EQ((std::vector<std::string>{"x", ""}), arg1);
    EXPECT_EQ(0u, received.dataAvail());
}

TEST(ParcelWireFormat, ParcelableListReplyMatchesFixtureAndReadsBack) {
    KeyValue kv;
    kv.key = "k";
    kv.value = "v";
    Parcel reply;
    ASSERT_EQ(android::OK, reply.writeNoException());
    ASSERT_EQ(android::OK, reply.writeParcelableVector(std::vector<KeyValue>{kv}));
    EXPECT_EQ(kListReplyFixture, hexOf(reply));

    Parcel received;
    loadHex(&received, kListReplyFixture);
    android::binder::Status status;
    ASSERT_EQ(android::OK, status.readFromParcel(received));
    EXPECT_TRUE(status.isOk());
    std::vector<KeyValue> list;
    ASSERT_EQ(android::OK, received.readParcelableVector(&list));
    ASSERT_EQ(1u, list.size());
    EXPECT_EQ("k", list[0].key);
    EXPECT_EQ("v", list[0].value);
    EXPECT_EQ(0x20u, received.dataPosition());
}

TEST(ParcelWireFormat, NullPointerStatusMatchesFixture) {
    Parcel reply;
    reply.writeInt32(1234);  // whatever the stub wrote before failing is replaced
    ASSERT_EQ(android::OK,
              android::binder::Status::fromExceptionCode(android::binder::Status::EX_NULL_POINTER)
                      .writeOverParcel(&reply));
    EXPECT_EQ(kNullPointerFixture, hexOf(reply));
}

TEST(ParcelWireFormat, ScalarsAreLittleEndianOnFourByteGrid) {
    Parcel parcel;
    parcel.writeInt32(-2);
    parcel.writeUint32(0x01020304u);
    parcel.writeInt64(0x1122334455667788LL);
    parcel.writeBool(true);
    parcel.writeByte(-1);
    parcel.writeChar(u'\xffff');
    EXPECT_EQ(
            "feffffff"
            "04030201"
            "8877665544332211"
            "01000000"
            "ffffffff"
            "ffff0000",
            hexOf(parcel));

    parcel.setDataPosition(0);
    EXPECT_EQ(-2, parcel.readInt32());
    EXPECT_EQ(0x01020304u, parcel.readUint32());
    EXPECT_EQ(0x1122334455667788LL, parcel.readInt64());
    EXPECT_TRUE(parcel.readBool());
    EXPECT_EQ(-1, parcel.readByte());
    EXPECT_EQ(u'\xffff', parcel.readChar());
}

TEST(ParcelWireFormat, RawWritesArePaddedWithZeros) {
    Parcel parcel;
    const uint8_t bytes[] = {0xaa, 0xbb, 0xcc, 0xdd, 0xee};
    ASSERT_EQ(android::OK, parcel.write(bytes, sizeof(bytes)));
    EXPECT_EQ("aabbccddee000000", hexOf(parcel));

    parcel.setDataPosition(0);
    uint8_t out[5] = {};
    ASSERT_EQ(android::OK, parcel.read(out, sizeof(out)));
    EXPECT_EQ(0, std::memcmp(bytes, out, sizeof(out)));
    EXPECT_EQ(8u, parcel.dataPosition());
}

TEST(ParcelWireFormat, ReadsPastTheEndFailWithoutMovingTheCursor) {
    Parcel parcel;
    parcel.writeInt32(7);
    parcel.setDataPosition(0);
    int64_t wide = 42;
    EXPECT_EQ(android::NOT_ENOUGH_DATA, parcel.readInt64(&wide));
    EXPECT_EQ(42, wide);  // left unchanged
    EXPECT_EQ(0u, parcel.dataPosition());
    EXPECT_EQ(0, parcel.readInt64());

    parcel.setDataPosition(4);
    bool flag = true;
    EXPECT_EQ(android::NOT_ENOUGH_DATA, parcel.readBool(&flag));
    EXPECT_FALSE(flag);  // narrow reads store their default

    // The padding of a blob must be present too.
    parcel.setDataPosition(0);
    uint8_t buffer[5];
    EXPECT_EQ(android::NOT_ENOUGH_DATA, parcel.read(buffer, 1 + 4));
    EXPECT_EQ(nullptr, parcel.readInplace(static_cast<size_t>(INT32_MAX) + 1));
    EXPECT_EQ(android::BAD_VALUE, parcel.read(buffer, static_cast<size_t>(INT32_MAX) + 1));
}

TEST(ParcelWireFormat, CursorBeyondTheEndCountsAsDataSize) {
    Parcel parcel;
    parcel.writeInt32(1);
    parcel.setDataPosition(12);
    EXPECT_EQ(12u, parcel.dataSize());
    EXPECT_EQ(0u, parcel.dataAvail());
    parcel.writeInt32(2);
    EXPECT_EQ(
            "01000000"
            "0000000000000000"
            "02000000",
            hexOf(parcel));
}

TEST(ParcelWireFormat, SetDataSizeShrinksAndPullsTheCursorBack) {
    Parcel parcel;
    parcel.writeInt32(1);
    parcel.writeInt32(2);
    ASSERT_EQ(android::OK, parcel.setDataSize(4));
    EXPECT_EQ(4u, parcel.dataPosition());
    EXPECT_EQ("01000000", hexOf(parcel));
    // Growing again exposes zeros, never the old bytes.
    ASSERT_EQ(android::OK, parcel.setDataSize(8));
    EXPECT_EQ("0100000000000000", hexOf(parcel));
    EXPECT_EQ(android::BAD_VALUE, parcel.setDataSize(static_cast<size_t>(INT32_MAX) + 1));
}

TEST(ParcelWireFormat, ParcelableMarkerMustBeExactlyOne) {
    Parcel parcel;
    parcel.writeInt32(2);
    parcel.writeInt32(4);
    parcel.setDataPosition(0);
    KeyValue kv;
    EXPECT_EQ(android::UNEXPECTED_NULL, parcel.readParcelable(&kv));

    Parcel empty;
    EXPECT_EQ(android::NOT_ENOUGH_DATA, empty.readParcelable(&kv));
}

TEST(ParcelWireFormat, HostileParcelableVectorCountsAreRefusedBeforeAllocating) {
    Parcel parcel;
    parcel.writeInt32(1000);
    parcel.writeInt32(1);
    parcel.writeInt32(1);
    parcel.writeInt32(1);
    parcel.setDataPosition(0);
    std::vector<KeyValue> list(3);
    EXPECT_EQ(android::BAD_VALUE, parcel.readParcelableVector(&list));
    EXPECT_EQ(3u, list.size());  // untouched

    Parcel negative;
    negative.writeInt32(-1);
    negative.setDataPosition(0);
    EXPECT_EQ(android::UNEXPECTED_NULL, negative.readParcelableVector(&list));

    Parcel huge;
    huge.writeInt32(INT32_MAX);
    huge.setDataPosition(0);
    std::vector<std::string> strings;
    EXPECT_EQ(android::BAD_VALUE, huge.readUtf8VectorFromUtf16Vector(&strings));
    EXPECT_TRUE(strings.empty());
}

TEST(ParcelWireFormat, VectorElementWithNullMarkerStopsTheRead) {
    Parcel parcel;
    parcel.writeInt32(2);
    parcel.writeInt32(1);
    parcel.writeInt32(4);  // an element with only its size word
    parcel.writeInt32(0);  // null marker
    parcel.setDataPosition(0);
    std::vector<KeyValue> list;
    EXPECT_EQ(android::UNEXPECTED_NULL, parcel.readParcelableVector(&list));
    EXPECT_EQ(2u, list.size());
}

TEST(ParcelWireFormat, InterfaceTokenRejectsOtherDescriptorsAndHeaders) {
    Parcel parcel;
    parcel.writeInterfaceToken(String16("a.IFoo"));
    parcel.setDataPosition(0);
    EXPECT_FALSE(parcel.enforceInterface(String16("a.IBar")));
    parcel.setDataPosition(0);
    EXPECT_FALSE(parcel.enforceInterface(String16("a.IFo")));
    parcel.setDataPosition(0);
    EXPECT_TRUE(parcel.enforceInterface(String16("a.IFoo")));

    // A vendor-partition header word is a different copy of libbinder.
    Parcel vendor;
    loadHex(&vendor,
            "00000080ffffffff52444e56"
            "0100000061000000");
    EXPECT_FALSE(vendor.enforceInterface(String16("a")));

    Parcel truncated;
    loadHex(&truncated,
            "00000080ffffffff54535953"
            "06000000610000");
    EXPECT_FALSE(truncated.enforceInterface(String16("a.IFoo")));

    Parcel empty;
    EXPECT_FALSE(empty.enforceInterface(String16("a.IFoo")));

    // A null descriptor reads as empty, so it only satisfies an empty expectation.
    Parcel nullDescriptor;
    loadHex(&nullDescriptor,
            "00000080ffffffff54535953"
            "ffffffff");
    EXPECT_FALSE(nullDescriptor.enforceInterface(String16("a")));
    nullDescriptor.setDataPosition(0);
    EXPECT_TRUE(nullDescriptor.enforceInterface(String16()));
}

TEST(ParcelWireFormat, EnforceNoDataAvailReportsUnreadBytes) {
    Parcel parcel;
    parcel.writeInt32(1);
    parcel.setDataPosition(0);
    const android::binder::Status status = parcel.enforceNoDataAvail();
    EXPECT_EQ(android::binder::Status::EX_BAD_PARCELABLE, status.exceptionCode());
    EXPECT_STREQ("Parcel data not fully consumed, unread size: 4",
                 status.exceptionMessage().string());
    parcel.readInt32();
    EXPECT_TRUE(parcel.enforceNoDataAvail().isOk());
}

}  // namespace
