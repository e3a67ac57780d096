// Binder objects in parcels: flat object layout, proxies on read, forged objects.

#include <cstring>

#include <gtest/gtest.h>

#include <binder/Binder.h>
#include <binder/BpBinder.h>
#include <binder/Parcel.h>

#include "ParcelTestSupport.h"

namespace {

using android::BBinder;
using android::IBinder;
using android::Parcel;
using android::sp;
using binder_test::hexOf;
using binder_test::loadHex;

struct FlatObject {
    uint32_t type;
    uint32_t flags;
    uint64_t binderOrHandle;
    uint64_t cookie;
    int32_t stability;
};

FlatObject flatObjectAt(const Parcel& parcel, size_t offset) {
    FlatObject object{};
    std::memcpy(&object, parcel.data() + offset, 24);
    std::memcpy(&object.stability, parcel.data() + offset + 24, 4);
    return object;
}

constexpr uint32_t kTypeBinder = 0x73622A85;
constexpr uint32_t kTypeHandle = 0x73682A85;

TEST(ParcelBinders, NullBinderIsAZeroObjectWithUndeclaredStability) {
    Parcel parcel;
    ASSERT_EQ(android::OK, parcel.writeStrongBinder(nullptr));
    EXPECT_EQ(
            "852a6273"
            "13000000"
            "0000000000000000"
            "0000000000000000"
            "00000000",
            hexOf(parcel));
    EXPECT_EQ(0u, parcel.objectsCount());

    parcel.setDataPosition(0);
    sp<IBinder> binder = sp<IBinder>(new BBinder());
    EXPECT_EQ(android::OK, parcel.readNullableStrongBinder(&binder));
    EXPECT_EQ(nullptr, binder);
    parcel.setDataPosition(0);
    EXPECT_EQ(android::UNEXPECTED_NULL, parcel.readStrongBinder(&binder));
}

TEST(ParcelBinders, LocalBinderIsWrittenAsBinderObjectAndReadBackAsProxy) {
    const sp<BBinder> local = new BBinder();
    Parcel parcel;
    ASSERT_EQ(android::OK, parcel.writeStrongBinder(local));
    ASSERT_EQ(28u, parcel.dataSize());
    const FlatObject object = flatObjectAt(parcel, 0);
    EXPECT_EQ(kTypeBinder, object.type);
    EXPECT_EQ(0x113u, object.flags);
    EXPECT_NE(0u, object.binderOrHandle);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(local.get()), object.cookie);
    EXPECT_EQ(12, object.stability);

    parcel.setDataPosition(0);
    sp<IBinder> first;
    ASSERT_EQ(android::OK, parcel.readStrongBinder(&first));
    ASSERT_NE(nullptr, first->remoteBinder());
    EXPECT_EQ(nullptr, first->localBinder());

    parcel.setDataPosition(0);
    sp<IBinder> second;
    ASSERT_EQ(android::OK, parcel.readStrongBinder(&second));
    EXPECT_EQ(first, second);  // the same node reads back as the same proxy
}

TEST(ParcelBinders, ProxyIsWrittenAsHandleObject) {
    const sp<BBinder> local = new BBinder();
    Parcel parcel;
    parcel.writeStrongBinder(local);
    parcel.setDataPosition(0);
    const sp<IBinder> proxy = parcel.readStrongBinder();
    ASSERT_NE(nullptr, proxy);

    Parcel forwarded;
    ASSERT_EQ(android::OK, forwarded.writeStrongBinder(proxy));
    const FlatObject object = flatObjectAt(forwarded, 0);
    EXPECT_EQ(kTypeHandle, object.type);
    EXPECT_EQ(0x13u, object.flags);
    EXPECT_EQ(proxy->remoteBinder()->handle(), object.binderOrHandle);
    EXPECT_EQ(0u, object.cookie);
    EXPECT_EQ(12, object.stability);

    forwarded.setDataPosition(0);
    EXPECT_EQ(proxy, forwarded.readStrongBinder());
}

TEST(ParcelBinders, ObjectsCopiedAsRawBytesCannotBeRead) {
    const sp<BBinder> local = new BBinder();
    Parcel original;
    original.writeStrongBinder(local);

    Parcel copy;
    copy.setData(original.data(), original.dataSize());
    EXPECT_EQ(0u, copy.objectsCount());
    sp<IBinder> binder;
    EXPECT_EQ(android::BAD_TYPE, copy.readNullableStrongBinder(&binder));
    EXPECT_EQ(nullptr, binder);
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
            {"null without stability",
             "852a6273130000000000000000000000"
             "0000000000000000",
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

TEST(ParcelBinders, ObjectBytesCannotBeReadAsPlainData) {
    const sp<BBinder> local = new BBinder();
    Parcel parcel;
    parcel.writeStrongBinder(local);
    parcel.setDataPosition(8);
    int64_t address = 0;
    EXPECT_EQ(android::PERMISSION_DENIED, parcel.readInt64(&address));
    EXPECT_EQ(0, address);
}

TEST(ParcelBinders, ShrinkingThePastObjectDropsIt) {
    const sp<BBinder> local = new BBinder();
    Parcel parcel;
    parcel.writeInt32(5);
    parcel.writeStrongBinder(local);
    EXPECT_EQ(1u, parcel.objectsCount());
    parcel.setDataSize(8);
    EXPECT_EQ(0u, parcel.objectsCount());
}

}  // namespace
