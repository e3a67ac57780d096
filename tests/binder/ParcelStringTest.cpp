// Strings on the wire: null versus empty, non-BMP text, and hostile lengths.

#include <gtest/gtest.h>

#include <binder/Parcel.h>

#include "ParcelTestSupport.h"

namespace {

using android::Parcel;
using android::String16;
using binder_test::hexOf;
using binder_test::loadHex;

TEST(ParcelStrings, EmptyAndNullAreDistinct) {
    Parcel parcel;
    parcel.writeUtf8AsUtf16(std::string());
    parcel.writeUtf8AsUtf16(std::optional<std::string>());
    parcel.writeString16(String16());
    parcel.writeString16(std::optional<String16>());
    EXPECT_EQ(
            "0000000000000000"
            "ffffffff"
            "0000000000000000"
            "ffffffff",
            hexOf(parcel));

    parcel.setDataPosition(0);
    std::optional<std::string> utf8 = "stale";
    EXPECT_EQ(android::OK, parcel.readUtf8FromUtf16(&utf8));
    EXPECT_EQ(std::optional<std::string>(""), utf8);
    EXPECT_EQ(android::OK, parcel.readUtf8FromUtf16(&utf8));
    EXPECT_FALSE(utf8.has_value());
    std::optional<String16> utf16;
    EXPECT_EQ(android::OK, parcel.readString16(&utf16));
    EXPECT_EQ(std::optional<String16>(String16()), utf16);
    EXPECT_EQ(android::OK, parcel.readString16(&utf16));
    EXPECT_FALSE(utf16.has_value());
}

TEST(ParcelStrings, NullIntoNonNullableStringIsUnexpectedNull) {
    Parcel parcel;
    parcel.writeInt32(-1);
    parcel.setDataPosition(0);
    std::string text = "stale";
    EXPECT_EQ(android::UNEXPECTED_NULL, parcel.readUtf8FromUtf16(&text));
    EXPECT_EQ(4u, parcel.dataPosition());
    parcel.setDataPosition(0);
    String16 wide("stale");
    EXPECT_EQ(android::UNEXPECTED_NULL, parcel.readString16(&wide));
    EXPECT_EQ(0u, wide.size());
}

TEST(ParcelStrings, NonBmpTextTravelsAsSurrogatePair) {
    const std::string text = "a\xF0\x9F\x98\x80";  // 'a' U+1F600
    Parcel parcel;
    ASSERT_EQ(android::OK, parcel.writeUtf8AsUtf16(text));
    EXPECT_EQ(
            "03000000"
            "6100"
            "3dd8"
            "00de"
            "0000",
            hexOf(parcel));
    parcel.setDataPosition(0);
    std::string back;
    ASSERT_EQ(android::OK, parcel.readUtf8FromUtf16(&back));
    EXPECT_EQ(text, back);
}

TEST(ParcelStrings, EmbeddedNulSurvivesTheRoundTrip) {
    const std::string text("a\0b", 3);
    Parcel parcel;
    ASSERT_EQ(android::OK, parcel.writeUtf8AsUtf16(text));
    parcel.setDataPosition(0);
    std::string back;
    ASSERT_EQ(android::OK, parcel.readUtf8FromUtf16(&back));
    EXPECT_EQ(text, back);
}

TEST(ParcelStrings, TruncatedUtf8IsRefusedWithoutWriting) {
    Parcel parcel;
    EXPECT_EQ(android::BAD_VALUE, parcel.writeUtf8AsUtf16(std::string("ok\xC3")));
    EXPECT_EQ(0u, parcel.dataSize());
}

TEST(ParcelStrings, UnpairedSurrogateIsDroppedWhenReadAsUtf8) {
    Parcel parcel;
    const char16_t units[] = {u'x', 0xD800, u'y'};
    parcel.writeString16(units, 3);
    parcel.setDataPosition(0);
    std::string text;
    ASSERT_EQ(android::OK, parcel.readUtf8FromUtf16(&text));
    EXPECT_EQ("xy", text);
}

TEST(ParcelStrings, HostileLengthsAreRefused) {
    struct Case {
        const char* name;
        const char* hex;
        size_t cursorAfter;
    };
    const Case cases[] = {
            {"longer than the data",
             "05000000"
             "6100620000000000",
             4},
            {"INT32_MAX",
             "ffffff7f"
             "00000000",
             4},
            {"large negative",
             "00000080"
             "00000000",
             4},
            {"-2",
             "feffffff"
             "00000000",
             4},
            {"no length word", "0000", 0},
            {"terminator missing",
             "01000000"
             "61006200",
             8},
            {"terminator and pad missing",
             "01000000"
             "6100",
             4},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Parcel parcel;
        loadHex(&parcel, c.hex);
        std::string text = "stale";
        EXPECT_EQ(android::UNEXPECTED_NULL, parcel.readUtf8FromUtf16(&text));
        EXPECT_EQ(c.cursorAfter, parcel.dataPosition());
        parcel.setDataPosition(0);
        EXPECT_EQ(0u, parcel.readString16().size());
    }
}

TEST(ParcelStrings, NullablePeekWithoutDataIsNotEnoughData) {
    Parcel parcel;
    std::optional<std::string> text;
    EXPECT_EQ(android::NOT_ENOUGH_DATA, parcel.readUtf8FromUtf16(&text));
    loadHex(&parcel, "feffffff");
    EXPECT_EQ(android::UNEXPECTED_NULL, parcel.readUtf8FromUtf16(&text));
}

TEST(ParcelStrings, StringVectorStopsAtFirstBadElement) {
    Parcel parcel;
    parcel.writeInt32(3);
    parcel.writeUtf8AsUtf16(std::string("one"));
    parcel.writeInt32(-1);
    parcel.writeUtf8AsUtf16(std::string("three"));
    parcel.setDataPosition(0);
    std::vector<std::string> list;
    EXPECT_EQ(android::UNEXPECTED_NULL, parcel.readUtf8VectorFromUtf16Vector(&list));
    ASSERT_EQ(3u, list.size());
    EXPECT_EQ("one", list[0]);

    Parcel wide;
    wide.writeString16Vector({String16("a"), String16("bc")});
    wide.setDataPosition(0);
    std::vector<String16> back;
    ASSERT_EQ(android::OK, wide.readString16Vector(&back));
    ASSERT_EQ(2u, back.size());
    EXPECT_EQ(String16("bc"), back[1]);
}

}  // namespace
