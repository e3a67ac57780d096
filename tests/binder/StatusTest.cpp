// Status: factories, wire round trips, hostile headers and text form.

#include <gtest/gtest.h>

#include <binder/Parcel.h>
#include <binder/Status.h>

#include "ParcelTestSupport.h"

namespace {

using android::Parcel;
using android::String8;
using android::binder::Status;
using binder_test::hexOf;
using binder_test::loadHex;

Status roundTrip(const Status& status, std::string* hex = nullptr) {
    Parcel parcel;
    EXPECT_EQ(android::OK, status.writeToParcel(&parcel));
    if (hex != nullptr) *hex = hexOf(parcel);
    parcel.setDataPosition(0);
    Status back = Status::fromExceptionCode(Status::EX_ILLEGAL_STATE, "stale");
    EXPECT_EQ(android::OK, back.readFromParcel(parcel));
    // A parcelable blob's zero size word is left unread, as libbinder leaves it.
    const size_t unread = status.exceptionCode() == Status::EX_PARCELABLE ? 4 : 0;
    EXPECT_EQ(parcel.dataSize() - unread, parcel.dataPosition());
    return back;
}

TEST(Status, FactoriesFollowLibbinderSemantics) {
    EXPECT_TRUE(Status::ok().isOk());
    EXPECT_TRUE(Status::fromStatusT(android::OK).isOk());

    const Status dead = Status::fromStatusT(android::DEAD_OBJECT);
    EXPECT_EQ(Status::EX_TRANSACTION_FAILED, dead.exceptionCode());
    EXPECT_EQ(android::DEAD_OBJECT, dead.transactionError());
    EXPECT_EQ(0, dead.serviceSpecificErrorCode());

    const Status failed = Status::fromExceptionCode(Status::EX_TRANSACTION_FAILED);
    EXPECT_EQ(android::FAILED_TRANSACTION, failed.transactionError());

    const Status specific = Status::fromServiceSpecificError(0, "zero is still an error");
    EXPECT_FALSE(specific.isOk());
    EXPECT_EQ(android::OK, specific.transactionError());

    Status withMessage = Status::fromExceptionCode(Status::EX_SECURITY, "denied");
    withMessage.setFromStatusT(android::BAD_VALUE);
    EXPECT_EQ(0u, withMessage.exceptionMessage().size());
}

TEST(Status, ExceptionsRoundTripThroughParcels) {
    std::string hex;
    EXPECT_TRUE(roundTrip(Status::ok(), &hex).isOk());
    EXPECT_EQ("00000000", hex);

    const Status security = roundTrip(Status::fromExceptionCode(Status::EX_SECURITY, "no"), &hex);
    EXPECT_EQ(Status::EX_SECURITY, security.exceptionCode());
    EXPECT_STREQ("no", security.exceptionMessage().string());
    EXPECT_EQ(
            "ffffffff"
            "02000000"
            "6e006f00"
            "00000000"
            "00000000",
            hex);

    const Status specific = roundTrip(Status::fromServiceSpecificError(42, "x"), &hex);
    EXPECT_EQ(42, specific.serviceSpecificErrorCode());
    EXPECT_STREQ("x", specific.exceptionMessage().string());
    EXPECT_EQ(
            "f8ffffff"
            "01000000"
            "78000000"
            "00000000"
            "2a000000",
            hex);

    const Status parcelable = roundTrip(Status::fromExceptionCode(Status::EX_PARCELABLE));
    EXPECT_EQ(Status::EX_PARCELABLE, parcelable.exceptionCode());
}

TEST(Status, TransactionFailureIsTheWriteResultNotData) {
    Parcel parcel;
    EXPECT_EQ(android::UNKNOWN_TRANSACTION,
              Status::fromStatusT(android::UNKNOWN_TRANSACTION).writeToParcel(&parcel));
    EXPECT_EQ(0u, parcel.dataSize());
}

TEST(Status, ReplyHeaderIsSkipped) {
    Parcel parcel;
    loadHex(&parcel,
            "80ffffff"
            "08000000"
            "aaaaaaaa"
            "05000000");
    Status status = Status::fromExceptionCode(Status::EX_SECURITY);
    ASSERT_EQ(android::OK, status.readFromParcel(parcel));
    EXPECT_TRUE(status.isOk());
    EXPECT_EQ(5, parcel.readInt32());
}

TEST(Status, HostileHeadersBecomeTransactionFailures) {
    struct Case {
        const char* name;
        const char* hex;
        android::status_t expected;
    };
    const Case cases[] = {
            {"empty", "", android::NOT_ENOUGH_DATA},
            {"reply header larger than data",
             "80ffffff"
             "10000000",
             android::UNKNOWN_ERROR},
            {"negative reply header",
             "80ffffff"
             "ffffffff",
             android::UNKNOWN_ERROR},
            {"message missing", "fcffffff", android::NOT_ENOUGH_DATA},
            {"message truncated",
             "fcffffff"
             "09000000"
             "6100",
             android::UNEXPECTED_NULL},
            {"stack trace larger than data",
             "fcffffff"
             "00000000"
             "00000000"
             "40000000",
             android::UNKNOWN_ERROR},
            {"service error code missing",
             "f8ffffff"
             "00000000"
             "00000000"
             "00000000",
             android::NOT_ENOUGH_DATA},
            {"parcelable blob too large",
             "f7ffffff"
             "00000000"
             "00000000"
             "00000000"
             "ff000000",
             android::UNKNOWN_ERROR},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Parcel parcel;
        loadHex(&parcel, c.hex);
        Status status = Status::fromExceptionCode(Status::EX_SECURITY, "stale");
        EXPECT_EQ(c.expected, status.readFromParcel(parcel));
        EXPECT_EQ(Status::EX_TRANSACTION_FAILED, status.exceptionCode());
        EXPECT_EQ(c.expected, status.transactionError());
        EXPECT_EQ(0u, status.exceptionMessage().size());
    }
}

TEST(Status, NullMessageReadsAsEmpty) {
    Parcel parcel;
    loadHex(&parcel,
            "fdffffff"
            "ffffffff"
            "00000000");
    Status status;
    ASSERT_EQ(android::OK, status.readFromParcel(parcel));
    EXPECT_EQ(Status::EX_ILLEGAL_ARGUMENT, status.exceptionCode());
    EXPECT_EQ(0u, status.exceptionMessage().size());
}

TEST(Status, StackTraceHeaderCountsItself) {
    Parcel parcel;
    loadHex(&parcel,
            "fbffffff"
            "00000000"
            "00000000"
            "08000000"
            "bbbbbbbb"
            "07000000");
    Status status;
    ASSERT_EQ(android::OK, status.readFromParcel(parcel));
    EXPECT_EQ(Status::EX_ILLEGAL_STATE, status.exceptionCode());
    EXPECT_EQ(7, parcel.readInt32());
}

TEST(Status, TextForm) {
    EXPECT_STREQ("No error", Status::ok().toString8().string());
    EXPECT_STREQ("Status(-129, EX_TRANSACTION_FAILED): 'DEAD_OBJECT: '",
                 Status::fromStatusT(android::DEAD_OBJECT).toString8().string());
    EXPECT_STREQ("Status(-8, EX_SERVICE_SPECIFIC): '42: x'",
                 Status::fromServiceSpecificError(42, "x").toString8().string());
    EXPECT_STREQ("Status(-4, EX_NULL_POINTER): ''",
                 Status::fromExceptionCode(Status::EX_NULL_POINTER).toString8().string());
    EXPECT_STREQ("Status(7, 7): 'odd'", Status::fromExceptionCode(7, "odd").toString8().string());
    EXPECT_EQ("EX_HAS_REPLY_HEADER", Status::exceptionToString(Status::EX_HAS_REPLY_HEADER));
}

}  // namespace
