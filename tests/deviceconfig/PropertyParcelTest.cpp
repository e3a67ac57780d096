#include <com/halcyon/deviceconfig/aidl/Property.h>
#include <deviceconfig/aidl/PropertyListParcel.h>
#include <gtest/gtest.h>

#include <climits>

#include "ParcelBytes.h"

namespace {

using android::Parcel;
using com::halcyon::deviceconfig::aidl::Property;
using com::halcyon::deviceconfig::aidl::readPropertyList;
using com::halcyon::deviceconfig::aidl::writePropertyList;
using deviceconfigtest::Bytes;
using deviceconfigtest::hexOf;

Property prop(const std::string& key, const std::string& value) {
    Property p;
    p.key = key;
    p.value = value;
    return p;
}

TEST(PropertyParcel, WritesSizeCountingItselfThenKeyAndValue) {
    Parcel parcel;
    ASSERT_EQ(android::OK, prop("k", "v").writeToParcel(&parcel));
    EXPECT_EQ("14000000010000006b0000000100000076000000", hexOf(parcel));
    EXPECT_EQ(parcel.dataSize(), parcel.dataPosition());
}

TEST(PropertyParcel, SkipsFieldsOfANewerWriterWhole) {
    Parcel parcel;
    Bytes().property("a", "1", 3).i32(0x1234).into(&parcel);
    Property read;
    ASSERT_EQ(android::OK, read.readFromParcel(&parcel));
    EXPECT_EQ(prop("a", "1"), read);
    int32_t next = 0;
    ASSERT_EQ(android::OK, parcel.readInt32(&next));
    EXPECT_EQ(0x1234, next);
}

TEST(PropertyParcel, ShortBodiesLeaveMissingFieldsAsTheyWere) {
    Parcel onlySize;
    Bytes().i32(4).i32(0x1234).into(&onlySize);
    Property empty;
    ASSERT_EQ(android::OK, empty.readFromParcel(&onlySize));
    EXPECT_EQ(prop("", ""), empty);
    EXPECT_EQ(4u, onlySize.dataPosition());

    Parcel onlyKey;
    Bytes().i32(12).str("ab").into(&onlyKey);
    Property older = prop("old", "kept");
    ASSERT_EQ(android::OK, older.readFromParcel(&onlyKey));
    EXPECT_EQ(prop("ab", "kept"), older);
}

TEST(PropertyParcel, RefusesNegativeAndOverflowingSizes) {
    Parcel negative;
    Bytes().i32(-8).str("k").str("v").into(&negative);
    Property p;
    EXPECT_EQ(android::BAD_VALUE, p.readFromParcel(&negative));

    Parcel overflowing;
    Bytes().i32(0).i32(INT32_MAX).str("k").str("v").into(&overflowing);
    overflowing.setDataPosition(4);  // start + size passes INT32_MAX
    EXPECT_EQ(android::BAD_VALUE, p.readFromParcel(&overflowing));
    EXPECT_EQ(prop("", ""), p);
}

TEST(PropertyParcel, ReportsAFieldErrorAsItIs) {
    Parcel nullKey;
    Bytes().i32(12).i32(-1).i32(0).into(&nullKey);
    Property p;
    EXPECT_EQ(android::UNEXPECTED_NULL, p.readFromParcel(&nullKey));

    Parcel missingSize;
    Property q;
    EXPECT_EQ(android::NOT_ENOUGH_DATA, q.readFromParcel(&missingSize));
}

TEST(PropertyList, WritesCountThenMarkedElements) {
    Parcel parcel;
    ASSERT_EQ(android::OK, writePropertyList(&parcel, {prop("k", "v")}));
    EXPECT_EQ(
            "01000000010000001400000001000000"
            "6b0000000100000076000000",
            hexOf(parcel));

    Parcel empty;
    ASSERT_EQ(android::OK, writePropertyList(&empty, {}));
    EXPECT_EQ("00000000", hexOf(empty));
}

TEST(PropertyList, ReadsElementsAfterAnOversizedOne) {
    Parcel parcel;
    Bytes().i32(2).i32(1).property("a", "1", 2).i32(1).property("b", "2").into(&parcel);
    std::vector<Property> list;
    ASSERT_EQ(android::OK, readPropertyList(parcel, &list));
    EXPECT_EQ((std::vector<Property>{prop("a", "1"), prop("b", "2")}), list);
    EXPECT_EQ(0u, parcel.dataAvail());
}

TEST(PropertyList, RefusesNullListsAndMarkers) {
    std::vector<Property> list;
    Parcel nullList;
    Bytes().i32(-1).into(&nullList);
    EXPECT_EQ(android::UNEXPECTED_NULL, readPropertyList(nullList, &list));

    for (int32_t marker : {0, 2, -1}) {
        Parcel parcel;
        Bytes().i32(1).i32(marker).property("a", "1").into(&parcel);
        EXPECT_EQ(android::UNEXPECTED_NULL, readPropertyList(parcel, &list)) << "marker " << marker;
    }
}

TEST(PropertyList, RefusesACountBeyondTheDataBeforeAllocating) {
    Parcel parcel;
    Bytes().i32(1000).i32(1).i32(4).i32(0).into(&parcel);  // 12 bytes after the count
    std::vector<Property> list{prop("x", "y")};
    EXPECT_EQ(android::BAD_VALUE, readPropertyList(parcel, &list));
    EXPECT_EQ((std::vector<Property>{prop("x", "y")}), list);

    Parcel truncated;
    Bytes().i32(1).i32(1).into(&truncated);  // marker, then no body
    EXPECT_EQ(android::NOT_ENOUGH_DATA, readPropertyList(truncated, &list));
}

TEST(PropertyList, ResizesToExactlyTheCount) {
    Parcel parcel;
    Bytes().i32(1).i32(1).property("a", "1").into(&parcel);
    std::vector<Property> list{prop("x", "1"), prop("y", "2"), prop("z", "3")};
    ASSERT_EQ(android::OK, readPropertyList(parcel, &list));
    EXPECT_EQ((std::vector<Property>{prop("a", "1")}), list);
}

}  // namespace
