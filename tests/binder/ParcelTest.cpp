// Parcels on the wire: byte layout against hand-checked fixtures, cursor rules, strings,
// binder objects, Status, and hostile sizes and headers.

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <binder/Binder.h>
#include <binder/BpBinder.h>
#include <binder/Parcel.h>
#include <binder/Status.h>

#include "HexBytes.h"

namespace {

using android::BBinder;
using android::IBinder;
using android::Parcel;
using android::sp;
using android::String16;
using android::binder::Status;

using testsupport::hexOf;

// Spaces in the hex text only group words for the reader.
void loadHex(Parcel* parcel, std::string hex) {
    std::erase(hex, ' ');
    std::vector<uint8_t> bytes;
    for (size_t i = 0; i + 1 < hex.size(); i += 2) {
        bytes.push_back(static_cast<uint8_t>(std::stoul(hex.substr(i, 2), nullptr, 16)));
    }
    parcel->setData(bytes.data(), bytes.size());
}

constexpr char kRequestFixture[] =
        "00000080ffffffff545359531000000063006f006d002e006500780061006d0070006c0065002e0049"
        "0046006f006f00000000000200000061006200000000000200000001000000780000000000000000000000";

TEST(ParcelWireFormat, RequestAndNullPointerReplyMatchLibbinderBytes) {
    Parcel request;
    ASSERT_EQ(android::OK, request.writeInterfaceToken(String16("com.example.IFoo")));
    ASSERT_EQ(android::OK, request.writeUtf8AsUtf16(std::string("ab")));
    ASSERT_EQ(android::OK, request.writeUtf8VectorAsUtf16Vector({"x", ""}));
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

    Parcel reply;
    reply.writeInt32(1234);  // whatever the stub wrote before failing is replaced
    ASSERT_EQ(android::OK,
              Status::fromExceptionCode(Status::EX_NULL_POINTER).writeOverParcel(&reply));
    EXPECT_EQ("fcffffff000000000000000000000000", hexOf(reply));
}

TEST(ParcelWireFormat, ScalarsAndRawBytesAreLittleEndianOnAZeroPaddedFourByteGrid) {
    Parcel parcel;
    parcel.writeInt32(-2);
    parcel.writeUint32(0x01020304u);
    parcel.writeInt64(0x1122334455667788LL);
    parcel.writeBool(true);
    parcel.writeByte(-1);
    parcel.writeChar(u'\xffff');
    const uint8_t bytes[] = {0xaa, 0xbb, 0xcc, 0xdd, 0xee};
    ASSERT_EQ(android::OK, parcel.write(bytes, sizeof(bytes)));
    EXPECT_EQ("feffffff04030201887766554433221101000000ffffffffffff0000aabbccddee000000",
              hexOf(parcel));

    parcel.setDataPosition(16);
    EXPECT_TRUE(parcel.readBool());
    EXPECT_EQ(-1, parcel.readByte());
    EXPECT_EQ(u'\xffff', parcel.readChar());
    uint8_t out[5] = {};
    ASSERT_EQ(android::OK, parcel.read(out, sizeof(out)));
    EXPECT_EQ(0, std::memcmp(bytes, out, sizeof(out)));
    EXPECT_EQ(0u, parcel.dataAvail());  // the padding is consumed with the blob
}

TEST(ParcelWireFormat, ReadsPastTheEndFailAndTheSizeNeverExposesOldBytes) {
    Parcel parcel;
    parcel.writeInt32(7);
    parcel.setDataPosition(0);
    int64_t wide = 42;
    EXPECT_EQ(android::NOT_ENOUGH_DATA, parcel.readInt64(&wide));
    EXPECT_EQ(42, wide);  // left unchanged
    EXPECT_EQ(0u, parcel.dataPosition());
    EXPECT_EQ(0, parcel.readInt64());
    uint8_t buffer[5];
    EXPECT_EQ(android::NOT_ENOUGH_DATA, parcel.read(buffer, 1 + 4));  // the padding must be there
    EXPECT_EQ(nullptr, parcel.readInplace(static_cast<size_t>(INT32_MAX) + 1));
    EXPECT_EQ(android::BAD_VALUE, parcel.read(buffer, static_cast<size_t>(INT32_MAX) + 1));
    const Status unread = parcel.enforceNoDataAvail();
    EXPECT_EQ(Status::EX_BAD_PARCELABLE, unread.exceptionCode());
    EXPECT_STREQ("Parcel data not fully consumed, unread size: 4",
                 unread.exceptionMessage().string());
    parcel.setDataPosition(4);
    EXPECT_TRUE(parcel.enforceNoDataAvail().isOk());
    bool flag = true;
    EXPECT_EQ(android::NOT_ENOUGH_DATA, parcel.readBool(&flag));
    EXPECT_FALSE(flag);  // narrow reads store their default

    parcel.setDataPosition(12);
    EXPECT_EQ(12u, parcel.dataSize());
    parcel.writeInt32(2);
    EXPECT_EQ("07000000000000000000000002000000", hexOf(parcel));
    ASSERT_EQ(android::OK, parcel.setDataSize(4));
    EXPECT_EQ(4u, parcel.dataPosition());  // pulled back with the end
    ASSERT_EQ(android::OK, parcel.setDataSize(16));
    EXPECT_EQ("07000000000000000000000000000000", hexOf(parcel));
    EXPECT_EQ(android::BAD_VALUE, parcel.setDataSize(static_cast<size_t>(INT32_MAX) + 1));
}

// Hostile parcelable lists are walked through the generated device-config code instead.
TEST(ParcelStrings, HostileVectorCountsAndNullElementsAreRefused) {
    Parcel parcel;
    std::vector<std::string> strings;
    loadHex(&parcel, "ffffff7f");
    EXPECT_EQ(android::BAD_VALUE, parcel.readUtf8VectorFromUtf16Vector(&strings));
    EXPECT_TRUE(strings.empty());

    // A string vector stops at its first null element.
    loadHex(&parcel, "03000000 03000000 6f006e00 65000000 ffffffff 00000000 00000000");
    EXPECT_EQ(android::UNEXPECTED_NULL, parcel.readUtf8VectorFromUtf16Vector(&strings));
    ASSERT_EQ(3u, strings.size());
    EXPECT_EQ("one", strings[0]);
}

// Wrong descriptors and vendor header words are refused through the device-config stubs.
TEST(ParcelWireFormat, InterfaceTokenRefusesAPrefixATruncatedTokenAndANullDescriptor) {
    Parcel written;
    written.writeInterfaceToken(String16("a.IFoo"));
    EXPECT_FALSE(written.enforceInterface(String16("a.IFo")));

    const auto accepts = [](const char* hex, const char* descriptor) {
        Parcel parcel;
        loadHex(&parcel, hex);
        return parcel.enforceInterface(String16(descriptor));
    };
    EXPECT_FALSE(accepts("00000080ffffffff5453595306000000610000", "a.IFoo"));  // truncated
    EXPECT_FALSE(accepts("", "a.IFoo"));
    // A null descriptor reads as empty, so it only satisfies an empty expectation.
    EXPECT_FALSE(accepts("00000080ffffffff54535953ffffffff", "a"));
    EXPECT_TRUE(accepts("00000080ffffffff54535953ffffffff", ""));
}

TEST(ParcelStrings, EmptyAndNullAreDistinctAndUtf8TravelsAsUtf16) {
    const std::string nonBmp = "a\xF0\x9F\x98\x80";  // 'a' U+1F600: a surrogate pair
    const std::string withNul("a\0b", 3);
    Parcel parcel;
    parcel.writeUtf8AsUtf16(std::string());
    parcel.writeUtf8AsUtf16(std::optional<std::string>());
    parcel.writeString16(std::optional<String16>());
    ASSERT_EQ(android::OK, parcel.writeUtf8AsUtf16(nonBmp));
    ASSERT_EQ(android::OK, parcel.writeUtf8AsUtf16(withNul));
    EXPECT_EQ(
            "0000000000000000ffffffffffffffff0300000061003dd800de0000"
            "030000006100000062000000",
            hexOf(parcel));
    // Truncated UTF-8 is refused before anything is written.
    EXPECT_EQ(android::BAD_VALUE, parcel.writeUtf8AsUtf16(std::string("ok\xC3")));
    EXPECT_EQ(40u, parcel.dataSize());

    parcel.setDataPosition(0);
    std::optional<std::string> utf8 = "stale";
    EXPECT_EQ(android::OK, parcel.readUtf8FromUtf16(&utf8));
    EXPECT_EQ(std::optional<std::string>(""), utf8);
    EXPECT_EQ(android::OK, parcel.readUtf8FromUtf16(&utf8));
    EXPECT_FALSE(utf8.has_value());
    std::optional<String16> utf16 = String16("stale");
    EXPECT_EQ(android::OK, parcel.readString16(&utf16));
    EXPECT_FALSE(utf16.has_value());
    std::string back;
    ASSERT_EQ(android::OK, parcel.readUtf8FromUtf16(&back));
    EXPECT_EQ(nonBmp, back);
    ASSERT_EQ(android::OK, parcel.readUtf8FromUtf16(&back));
    EXPECT_EQ(withNul, back);

    // An unpaired surrogate cannot become UTF-8 and is dropped.
    Parcel unpaired;
    const char16_t units[] = {u'x', 0xD800, u'y'};
    unpaired.writeString16(units, 3);
    unpaired.setDataPosition(0);
    ASSERT_EQ(android::OK, unpaired.readUtf8FromUtf16(&back));
    EXPECT_EQ("xy", back);
}

TEST(ParcelStrings, NullAndHostileLengthsAreRefused) {
    struct Case {
        const char* name;
        const char* hex;
        size_t cursorAfter;          // after the failed non-nullable read
        android::status_t nullable;  // the nullable read peeks at the length word first
    };
    const Case cases[] = {
            {"null", "ffffffff", 4, android::OK},
            {"longer than the data", "050000006100620000000000", 4, android::UNEXPECTED_NULL},
            {"INT32_MAX", "ffffff7f00000000", 4, android::UNEXPECTED_NULL},
            {"large negative", "0000008000000000", 4, android::UNEXPECTED_NULL},
            {"-2", "feffffff00000000", 4, android::UNEXPECTED_NULL},
            {"no length word", "0000", 0, android::NOT_ENOUGH_DATA},
            {"terminator missing", "0100000061006200", 8, android::UNEXPECTED_NULL},
            {"terminator and pad missing", "010000006100", 4, android::UNEXPECTED_NULL},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Parcel parcel;
        loadHex(&parcel, c.hex);
        std::string text = "stale";
        EXPECT_EQ(android::UNEXPECTED_NULL, parcel.readUtf8FromUtf16(&text));
        EXPECT_EQ(c.cursorAfter, parcel.dataPosition());
        parcel.setDataPosition(0);
        String16 wide("stale");
        EXPECT_EQ(android::UNEXPECTED_NULL, parcel.readString16(&wide));
        EXPECT_EQ(0u, wide.size());
        parcel.setDataPosition(0);
        std::optional<std::string> optional;
        EXPECT_EQ(c.nullable, parcel.readUtf8FromUtf16(&optional));
    }
}

// 24 bytes of kernel object (type, flags, binder or handle, cookie), then the stability word.
uint64_t wordAt(const Parcel& parcel, size_t offset) {
    uint64_t word;
    std::memcpy(&word, parcel.data() + offset, sizeof(word));
    return word;
}

TEST(ParcelBinders, NullLocalAndProxyBindersAreFlatObjectsWithSystemStability) {
    Parcel parcel;
    ASSERT_EQ(android::OK, parcel.writeStrongBinder(nullptr));
    EXPECT_EQ("852a6273130000000000000000000000000000000000000000000000", hexOf(parcel));
    EXPECT_EQ(0u, parcel.objectsCount());
    parcel.setDataPosition(0);
    sp<IBinder> binder = sp<IBinder>(new BBinder());
    EXPECT_EQ(android::OK, parcel.readNullableStrongBinder(&binder));
    EXPECT_EQ(nullptr, binder);
    parcel.setDataPosition(0);
    EXPECT_EQ(android::UNEXPECTED_NULL, parcel.readStrongBinder(&binder));

    const sp<BBinder> local = new BBinder();
    parcel.setDataSize(0);
    ASSERT_EQ(android::OK, parcel.writeStrongBinder(local));
    std::string hex = hexOf(parcel);
    EXPECT_EQ("852a627313010000", hex.substr(0, 16));  // accepts file descriptors
    EXPECT_EQ("0c000000", hex.substr(48));
    EXPECT_EQ(reinterpret_cast<uintptr_t>(local.get()), wordAt(parcel, 16));
    parcel.setDataPosition(0);
    const sp<IBinder> proxy = parcel.readStrongBinder();
    ASSERT_NE(nullptr, proxy);
    ASSERT_NE(nullptr, proxy->remoteBinder());
    parcel.setDataPosition(0);
    EXPECT_EQ(proxy, parcel.readStrongBinder());  // the same node reads back as the same proxy

    Parcel forwarded;
    ASSERT_EQ(android::OK, forwarded.writeStrongBinder(proxy));
    hex = hexOf(forwarded);
    EXPECT_EQ("852a687313000000", hex.substr(0, 16));
    EXPECT_EQ(proxy->remoteBinder()->handle(), wordAt(forwarded, 8));
    EXPECT_EQ("00000000000000000c000000", hex.substr(32));
    forwarded.setDataPosition(0);
    EXPECT_EQ(proxy, forwarded.readStrongBinder());
}

TEST(ParcelBinders, MalformedObjectsAreRefused) {
    sp<IBinder> binder;
    struct Case {
        const char* name;
        const char* hex;
        android::status_t expected;
    };
    const Case cases[] = {
            {"short object", "852a6273130000000000000000000000", android::BAD_TYPE},
            {"null with stability 12", "852a627313000000000000000000000000000000000000000c000000",
             android::BAD_TYPE},
            {"null without stability", "852a62731300000000000000000000000000000000000000",
             android::NOT_ENOUGH_DATA},
            {"null handle (context manager)",
             "852a687313000000000000000000000000000000000000000000000000", android::BAD_TYPE},
            {"unknown type", "852a646613000000000000000000000000000000000000000000000000",
             android::BAD_TYPE},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Parcel parcel;
        loadHex(&parcel, c.hex);
        EXPECT_EQ(c.expected, parcel.readNullableStrongBinder(&binder));
        EXPECT_EQ(nullptr, binder);
    }
}

// Only bytes recorded as an object at write time may be read as one, and object bytes may
// never be read as plain data (that would leak or forge addresses).
TEST(ParcelBinders, ObjectBytesAreGuardedByTheObjectTable) {
    const sp<BBinder> local = new BBinder();
    Parcel parcel;
    parcel.writeInt32(5);
    parcel.writeStrongBinder(local);
    EXPECT_EQ(1u, parcel.objectsCount());

    Parcel copy;
    copy.setData(parcel.data() + 4, parcel.dataSize() - 4);
    EXPECT_EQ(0u, copy.objectsCount());
    sp<IBinder> binder;
    EXPECT_EQ(android::BAD_TYPE, copy.readNullableStrongBinder(&binder));
    EXPECT_EQ(nullptr, binder);

    parcel.setDataPosition(12);
    int64_t address = 0;
    EXPECT_EQ(android::PERMISSION_DENIED, parcel.readInt64(&address));
    EXPECT_EQ(0, address);

    parcel.setDataSize(8);  // cuts into the object, which is dropped
    EXPECT_EQ(0u, parcel.objectsCount());
}

TEST(Status, FactoriesMapTransportErrorsAndPrintThem) {
    const Status dead = Status::fromStatusT(android::DEAD_OBJECT);
    EXPECT_EQ(android::DEAD_OBJECT, dead.transactionError());
    EXPECT_EQ(android::FAILED_TRANSACTION,
              Status::fromExceptionCode(Status::EX_TRANSACTION_FAILED).transactionError());
    const Status specific = Status::fromServiceSpecificError(0, "zero is still an error");
    EXPECT_FALSE(specific.isOk());
    EXPECT_EQ(android::OK, specific.transactionError());
    Status withMessage = Status::fromExceptionCode(Status::EX_SECURITY, "denied");
    withMessage.setFromStatusT(android::BAD_VALUE);
    EXPECT_EQ(0u, withMessage.exceptionMessage().size());

    const std::pair<Status, const char*> printed[] = {
            {dead, "Status(-129, EX_TRANSACTION_FAILED): 'DEAD_OBJECT: '"},
            {Status::ok(), "No error"},
            {Status::fromServiceSpecificError(42, "x"), "Status(-8, EX_SERVICE_SPECIFIC): '42: x'"},
            {Status::fromExceptionCode(Status::EX_NULL_POINTER), "Status(-4, EX_NULL_POINTER): ''"},
            {Status::fromExceptionCode(7, "odd"), "Status(7, 7): 'odd'"},
    };
    for (const auto& [status, text] : printed) EXPECT_STREQ(text, status.toString8().string());
    EXPECT_EQ("EX_HAS_REPLY_HEADER", Status::exceptionToString(Status::EX_HAS_REPLY_HEADER));
}

TEST(Status, ExceptionsRoundTripThroughParcels) {
    struct Case {
        Status status;
        std::string hex;
    };
    const Case cases[] = {
            {Status::fromServiceSpecificError(42, "x"),
             "f8ffffff 01000000 78000000 00000000 2a000000"},
            {Status::fromExceptionCode(Status::EX_PARCELABLE),
             "f7ffffff 00000000 00000000 00000000 00000000"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.status.toString8().string());
        Parcel parcel;
        ASSERT_EQ(android::OK, c.status.writeToParcel(&parcel));
        std::string expected = c.hex;
        std::erase(expected, ' ');
        EXPECT_EQ(expected, hexOf(parcel));
        parcel.setDataPosition(0);
        Status back = Status::fromExceptionCode(Status::EX_ILLEGAL_STATE, "stale");
        ASSERT_EQ(android::OK, back.readFromParcel(parcel));
        EXPECT_STREQ(c.status.toString8().string(), back.toString8().string());
        // A parcelable blob's zero size word is left unread, as the platform runtime leaves it.
        const size_t unread = c.status.exceptionCode() == Status::EX_PARCELABLE ? 4 : 0;
        EXPECT_EQ(parcel.dataSize() - unread, parcel.dataPosition());
    }

    // A transaction failure is the write's result, never data.
    Parcel parcel;
    EXPECT_EQ(android::UNKNOWN_TRANSACTION,
              Status::fromStatusT(android::UNKNOWN_TRANSACTION).writeToParcel(&parcel));
    EXPECT_EQ(0u, parcel.dataSize());
}

TEST(Status, HeadersAreSkippedOrFailTheTransaction) {
    struct Case {
        const char* name;
        const char* hex;
        android::status_t expected;
        int32_t exception = Status::EX_TRANSACTION_FAILED;
    };
    const Case cases[] = {
            {"reply header", "80ffffff 08000000 aaaaaaaa 07000000", android::OK, Status::EX_NONE},
            {"null message", "fdffffff ffffffff 00000000 07000000", android::OK,
             Status::EX_ILLEGAL_ARGUMENT},
            {"stack trace header counts itself",
             "fbffffff 00000000 00000000 08000000 bbbbbbbb 07000000", android::OK,
             Status::EX_ILLEGAL_STATE},
            {"empty", "", android::NOT_ENOUGH_DATA},
            {"reply header larger than data", "80ffffff 10000000", android::UNKNOWN_ERROR},
            {"negative reply header", "80ffffff ffffffff", android::UNKNOWN_ERROR},
            {"message missing", "fcffffff", android::NOT_ENOUGH_DATA},
            {"message truncated", "fcffffff 09000000 6100", android::UNEXPECTED_NULL},
            {"stack trace larger than data", "fcffffff 00000000 00000000 40000000",
             android::UNKNOWN_ERROR},
            {"service error code missing", "f8ffffff 00000000 00000000 00000000",
             android::NOT_ENOUGH_DATA},
            {"parcelable blob too large", "f7ffffff 00000000 00000000 00000000 ff000000",
             android::UNKNOWN_ERROR},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Parcel parcel;
        loadHex(&parcel, c.hex);
        // Failures must drop a stale message; successes start from a status without one.
        const bool fails = c.expected != android::OK;
        Status status = Status::fromExceptionCode(Status::EX_SECURITY, fails ? "stale" : "");
        EXPECT_EQ(c.expected, status.readFromParcel(parcel));
        EXPECT_EQ(c.exception, status.exceptionCode());
        EXPECT_EQ(0u, status.exceptionMessage().size());
        if (fails) {
            EXPECT_EQ(c.expected, status.transactionError());
        } else {
            EXPECT_EQ(7, parcel.readInt32());
        }
    }
}

}  // namespace
